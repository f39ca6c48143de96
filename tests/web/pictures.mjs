// Pictures of the page in all its scenes, widths and schemes: pictures.mjs DIRECTORY [SCENE or SCENE-WIDTH-SCHEME...]
// ImageMagick's convert makes them small.
import { execFileSync } from 'node:child_process'
import { mkdirSync } from 'node:fs'
import { PageService } from '../support/page-service.mjs'
import { scenes } from '../support/page-scenes.mjs'
import { openBrowser, openPage } from './browser.mjs'

const PORT = 8797 // it can be read in some of them
const WIDTHS = { 390: 844, 820: 1180, 1440: 900 }
const SMALL = ['-define', 'png:compression-filter=0', '-define', 'png:compression-level=9']
const HIGHEST = 1800
const BEGAN = Date.UTC(2026, 10, 22, 10, 43, 18) / 1000
const WHOLE = ['settings', 'tasks', 'search', 'finished', 'busy', 'call', 'away', 'task']

async function takePicture(browser, directory, scene, width, scheme) {
  const service = new PageService(BEGAN)
  const path = scenes[scene](service)
  await service.listen(PORT)
  const viewport = { width, height: WIDTHS[width] }
  const { page, trouble, context } = await openPage(browser, service, path, {
    viewport,
    colorScheme: scheme,
    hasTouch: width < 820,
    isMobile: width < 820,
    deviceScaleFactor: 1,
  })
  await page.waitForSelector(scene === 'loading' ? '.bones' : 'main :is(h1, h2, .chip, .note):visible')
  if (scene !== 'loading') await page.waitForLoadState('networkidle')
  await after[scene]?.(page, service)
  await page.waitForFunction(() => [...document.images].every((image) => image.complete || image.loading === 'lazy'))
  await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))))
  // As high as all of it, so that what stays at the bottom of the window is there.
  const height = Math.min(HIGHEST, await page.evaluate(() => document.documentElement.scrollHeight))
  if (width < 1000 && WHOLE.includes(scene)) await page.setViewportSize({ width, height })
  const file = `${directory}/${scene}-${width}-${scheme}.png`
  await page.screenshot({ path: file, animations: 'disabled' })
  execFileSync('convert', [file, '+dither', '-colors', '64', '-strip', ...SMALL, `PNG8:${file}`])
  for (const line of trouble) console.error(`${scene} ${width}: ${line}`)
  await context.close()
  await service.close()
}

// What is done in a scene before its picture.
const after = {
  signInWrong: async (page) => {
    await page.fill('#email', 'owner@house.example')
    await page.fill('#password', 'not that one')
    await page.click('.main')
    await page.waitForSelector('[role=alert]')
  },
  firstVisit: async (page) => {
    await page.fill('#email', 'owner@house.example')
    await page.fill('#password', 'aaaaaaaa')
    await page.click('main h1')
  },
  linkLost: async (page, service) => {
    service.refuseSockets = true
    service.cut()
    await page.waitForSelector('.next-try')
  },
  notAccepted: async (page, service) => {
    service.answers = 'busy'
    await page.fill('#task', 'print the list of invoices from October')
    await page.keyboard.press('Control+Enter')
    await page.waitForSelector('[role=alert]')
  },
  stopping: async (page) => {
    await page.click('.stop')
    await page.waitForSelector('.stop[aria-disabled]')
  },
  listen: async (page, service) => {
    await page.click('.listen-button')
    const tone = new Int16Array(24000).map((_, at) => 3000 * Math.sin((at * 440 * 2 * Math.PI) / 24000))
    for (let turn = 0; turn < 3; ++turn) {
      await page.waitForTimeout(300)
      service.sound('workshop', Buffer.from(tone.buffer, 0, 9600 * 2))
    }
    await page.waitForSelector('.level .on')
  },
  large: async (page) => {
    await page.click('figcaption .btn')
    await page.waitForSelector('dialog[open] img')
  },
  away: async (page) => {
    await page.fill('#task', 'print the list of invoices from October')
  },
  scrolled: async (page, service) => {
    if ((page.viewportSize()?.width ?? 0) < 1100) return
    await page.locator('.log-body').evaluate((body) => (body.scrollTop = 0))
    await page.waitForSelector('.follow[aria-pressed=false]')
    for (let line = 0; line < 7; ++line) service.say('workshop', 'claude', `claude: Line ${line} of what follows.`)
    await page.waitForSelector('.new-lines:not([hidden])')
  },
}
Object.assign(scenes, {
  signInWrong: scenes.signIn,
  linkLost: scenes.busy,
  notAccepted: scenes.idle,
  stopping: scenes.busy,
  listen: scenes.idle,
  large: scenes.busy,
  scrolled: scenes.busy,
})

const [directory, ...wanted] = process.argv.slice(2)
mkdirSync(directory, { recursive: true })
const browser = await openBrowser()
for (const scene of Object.keys(scenes))
  for (const width of Object.keys(WIDTHS).map(Number))
    for (const scheme of ['light', 'dark'])
      if (!wanted.length || wanted.includes(scene) || wanted.includes(`${scene}-${width}-${scheme}`))
        await takePicture(browser, directory, scene, width, scheme)
await browser.close()

// Chromium for the tests of the page. Whatever a view says to the console, or asks of another host, fails the test.
import assert from 'node:assert/strict'
import { existsSync } from 'node:fs'
import { createRequire } from 'node:module'

const CHROMIUM = '/usr/bin/chromium'

export async function openBrowser(more = [], environment = {}) {
  if (!existsSync(CHROMIUM)) throw new Error('There is no Chromium. Debian package: chromium')
  const { chromium } = createRequire(import.meta.url)(process.env.OMBRU_PLAYWRIGHT ?? 'playwright-core')
  // No sandbox: root has none.
  const args = ['--no-sandbox', '--disable-gpu', ...more]
  return chromium.launch({ executablePath: CHROMIUM, args, env: { ...process.env, ...environment } })
}

/** A page on the service, and what went wrong on it. */
export async function openPage(browser, service, path, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1440, height: 900 }, ...options })
  const page = await context.newPage()
  page.setDefaultTimeout(30_000)
  const trouble = []
  page.on('console', (message) => ['error', 'warning'].includes(message.type()) && trouble.push(message.text()))
  page.on('pageerror', (error) => trouble.push(error.stack))
  page.on('request', (request) => {
    if (!request.url().startsWith(service.address) && !request.url().startsWith('blob:'))
      trouble.push(`asked ${request.url()}`)
  })
  await page.goto(service.address + path)
  return { page, trouble, context }
}

let shared

/** The browser of this file's tests; it ends with them. */
export async function theBrowser(more) {
  shared ??= await openBrowser(more)
  return shared
}

export const closeBrowser = async () => shared?.close()

/**
 * A page on a scene, for one test. It fails the test when its policy was violated, when it asked another host, or when
 * anything was wrong by its console.
 */
export async function onScene(scene, run, { expected = /^$/, ...options } = {}) {
  const { PageService } = await import('../support/page-service.mjs')
  const { scenes } = await import('../support/page-scenes.mjs')
  const service = new PageService()
  const path = typeof scene === 'function' ? scene(service, scenes) : scenes[scene](service)
  await service.listen()
  const { page, trouble, context } = await openPage(await theBrowser(options.flags), service, path, options)
  try {
    await run(page, service)
    const unexpected = trouble.filter((line) => !expected.test(line))
    if (unexpected.length) throw new Error(`The page was not at ease:\n${unexpected.join('\n')}`)
  } finally {
    await context.close()
    await service.close()
  }
}

/** The strongest frequency in what the page plays. */
export const heardFrequency = (page) =>
  page.evaluate(async () => {
    const { player } = await import('/web/sound/player.js')
    const look = new AnalyserNode(player.context, { fftSize: 16384, smoothingTimeConstant: 0 })
    player.output.connect(look)
    await new Promise((done) => setTimeout(done, 900))
    const bins = new Float32Array(look.frequencyBinCount)
    look.getFloatFrequencyData(bins)
    player.output.disconnect(look)
    const best = bins.indexOf(Math.max(...bins))
    return { frequency: (best * player.context.sampleRate) / look.fftSize, level: bins[best] }
  })

/** Waits until what is shown there reads so: it comes with the items, a moment after the page. */
export async function reads(page, selector, expected) {
  let shown = ''
  const fits = async () => expected.test((shown = await page.locator(selector).first().innerText()))
  await until(fits, String(expected)).catch(() => assert.match(shown, expected))
}

/** Waits until a condition on this side holds. */
export async function until(condition, what = String(condition), turns = 3000) {
  for (let turn = 0; turn < turns; ++turn) {
    if (await condition()) return
    await new Promise((resolve) => setTimeout(resolve, 10))
  }
  throw new Error(`It did not come: ${what}`)
}

// How soon the page of the service is painted, beside an empty page with as many modules, in turns within one run:
// node page.mjs OMBRU_SERVICE PLAYWRIGHT_CORE [ROUNDS]
import { spawn } from 'node:child_process'
import { mkdtempSync, readFileSync, rmSync } from 'node:fs'
import { createServer } from 'node:http'
import { createRequire } from 'node:module'
import { tmpdir } from 'node:os'
import { join } from 'node:path'

const [program, playwright, rounds = '20'] = process.argv.slice(2)
const { chromium } = createRequire(import.meta.url)(playwright)
const DOCUMENT = readFileSync(new URL('../service/web/index.html', import.meta.url), 'utf8')
const MODULES = [...DOCUMENT.matchAll(/(?:href|src)="(\/web\/[^"]+\.js)"/g)].map((found) => found[1])
const OWNER = { email: 'owner@house.example', password: 'a short sentence' }

async function startService() {
  const data = mkdtempSync(join(tmpdir(), 'ombru-page-bench-'))
  const service = spawn(program, ['--settings-file', join(data, 'settings'), '--data', join(data, 'data'), '--port', '0'])
  let said = ''
  await new Promise((done) => service.stdout.on('data', (text) => /First visit/.test((said += text)) && done()))
  const end = () => new Promise((done) => service.on('exit', done) && service.kill())
  return {
    address: /is at (\S+)/.exec(said)[1],
    code: /First visit:.* (\S+)/.exec(said)[1],
    end: () => end().then(() => rmSync(data, { recursive: true })),
  }
}

/** Its last module imports the others, as ours does, and shows one word. */
async function startEmpty() {
  const last = MODULES.at(-1)
  const others = MODULES.slice(0, -1)
  const files = new Map(others.map((path) => [path, ['text/javascript', 'export {}\n']]))
  files.set(last, [
    'text/javascript',
    `${others.map((path) => `import '${path}'\n`).join('')}document.body.append('ombru')\n`,
  ])
  const heads = others.map((path) => `<link rel="modulepreload" href="${path}">\n`).join('')
  files.set('/', ['text/html', `<!doctype html>\n<title>empty</title>\n${heads}<script type="module" src="${last}"></script>\n`])
  const server = createServer((request, answer) => {
    const [type, text] = files.get(request.url) ?? []
    answer.writeHead(type ? 200 : 404, { 'Content-Type': type ?? 'text/plain', 'Cache-Control': 'no-cache' }).end(text)
  })
  await new Promise((done) => server.listen(0, '127.0.0.1', done))
  return { address: `http://localhost:${server.address().port}`, end: () => server.close() }
}

/** Milliseconds from the click on a link, as it were, to the first letters, with nothing in the browser's cache. */
async function paint(browser, address, cookies = []) {
  const context = await browser.newContext()
  await context.addCookies(cookies)
  const page = await context.newPage()
  await page.goto(address)
  const time = await page.evaluate(
    () =>
      new Promise((done) =>
        new PerformanceObserver((list) => {
          const found = list.getEntriesByName('first-contentful-paint')[0]
          if (found) done(found.startTime)
        }).observe({ type: 'paint', buffered: true }),
      ),
  )
  await context.close()
  return time
}

async function signIn(address, code) {
  const answer = await fetch(`${address}/api/first-visit`, {
    method: 'POST',
    headers: { 'Content-Type': 'application/json', Origin: address },
    body: JSON.stringify({ code, ...OWNER }),
  })
  const [name, value] = answer.headers.getSetCookie()[0].split(';')[0].split('=')
  return [{ name, value, url: address }]
}

const median = (times) => times.sort((one, other) => one - other)[Math.floor(times.length / 2)]

const service = await startService()
const empty = await startEmpty()
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: ['--no-sandbox', '--disable-gpu'] })
const cookies = await signIn(service.address, service.code)
const times = { empty: [], gate: [], list: [] }
for (let round = -2; round < Number(rounds); ++round) {
  const here = {
    empty: await paint(browser, empty.address),
    gate: await paint(browser, service.address),
    list: await paint(browser, service.address, cookies),
  }
  // The first rounds find nothing warm.
  if (round >= 0) for (const [name, time] of Object.entries(here)) times[name].push(time)
}
await browser.close()
empty.end()
await service.end()

const floor = median(times.empty)
const row = (name, time) => console.log(`| ${name} | **${(time / floor).toFixed(2)}** | ${time.toFixed(0)} | ${floor.toFixed(0)} |`)
console.log(`### First paint, cold, medians of ${rounds}\n`)
console.log(`| ours | times an empty page with ${MODULES.length} modules (aim: 1.5 at most) | ms | theirs, ms |`)
console.log('|---|---:|---:|---:|')
row('the sign-in', median(times.gate))
row('the computers, signed in', median(times.list))

// A task as it is handed over, watched and stopped, in a browser.
import assert from 'node:assert/strict'
import { after, test } from 'node:test'
import { closeBrowser, onScene, reads, until } from './browser.mjs'

after(closeBrowser)

const LOST = /WebSocket connection|ERR_CONNECTION|Failed to load resource/
const numbers = (page) => page.$$eval('[data-number]', (lines) => lines.map((line) => Number(line.dataset.number)))
const text = (page, selector) => page.locator(selector).first().innerText()

test('a task is handed over, and its events and pictures come as they happen', () =>
  onScene('idleNew', async (page, service) => {
    await page.fill('#task', 'sort the invoices')
    await page.click('text=Hand over')
    await page.waitForSelector('.job h2:has-text("sort the invoices")')
    assert.deepEqual(
      service.heard.find((one) => one.type === 'task'),
      { type: 'task', computer: 'workshop', text: 'sort the invoices' },
    )
    service.state('workshop', { step: 1 })
    service.picture('workshop', 1)
    service.say('workshop', 'claude', 'claude: I’ll look first.')
    service.say('workshop', 'code', 'script:\nbeep')
    service.say('workshop', 'result', '✓ script ok (0.1s): ')
    await page.waitForSelector('.ev-result')
    assert.deepEqual(await page.locator('.ev-kind').allInnerTexts(), ['Task', 'Claude', 'Script', 'Result'])
    assert.equal(await page.locator('.tl li').count(), 1)
    await page.waitForSelector('.picture img[alt="Screen of workshop in step 1"]')
    service.say('workshop', 'good', '✓ Sorted.')
    service.end('workshop', 'done', 'Sorted.')
    await page.waitForSelector('.answer .said:has-text("Sorted.")')
    assert.equal(await page.locator('.stop:visible').count(), 0)
    assert.equal(await page.inputValue('#task'), '')
  }))

for (const [why, word] of [
  ['busy', /already working/],
  ['away', /is away/],
  ['timeout', /15 seconds/],
  ['gone', /link was lost/],
])
  test(`a task that is not accepted (${why}) comes back with a word why`, () =>
    onScene('idleNew', async (page, service) => {
      service.answers = why
      await page.fill('#task', 'beep')
      await page.keyboard.press('Control+Enter')
      const alert = await text(page, '[role=alert]')
      assert.match(alert, /workshop did not take the task/)
      assert.match(alert, word)
      assert.equal(await page.inputValue('#task'), 'beep')
      assert.equal(await page.isEditable('#task'), true)
    }))

test('a task that nobody has answered yet cannot be handed over twice', () =>
  onScene('idleNew', async (page, service) => {
    service.answers = 'nothing'
    await page.fill('#task', 'beep')
    await page.keyboard.press('Control+Enter')
    await page.waitForSelector('text=Handing over')
    await page.keyboard.press('Control+Enter')
    await page.click('task-box .main', { force: true })
    assert.equal(service.heard.filter((one) => one.type === 'task').length, 1)
  }))

test('Stop reads “Stopping…” until the computer says that it rests', () =>
  onScene('busy', async (page, service) => {
    const before = await page.locator('.stop').boundingBox()
    await page.click('.stop')
    await page.waitForSelector('.stop:has-text("Stopping…")')
    const stopping = await page.locator('.stop').boundingBox()
    assert.equal(stopping.x + stopping.width, before.x + before.width)
    await until(() => service.heard.some((one) => one.type === 'cancel'))
    service.end('workshop', 'stopped')
    await page.waitForSelector('.answer:has-text("Stopped")')
    assert.equal(await page.locator('.stop:visible').count(), 0)
  }))

test('Stop works from the list, too', () =>
  onScene('computers', async (page, service) => {
    await page.click('button[aria-label="Stop the task on workshop"]')
    await until(() => service.heard.some((one) => one.type === 'cancel' && one.computer === 'workshop'))
  }))

test('a lost link is told with the next try, and “Now” brings back what was missed, without gap or double', () =>
  onScene(
    'busy',
    async (page, service) => {
      await page.waitForSelector('.ev-user')
      await page.evaluate(() => {
        const later = window.setTimeout
        window.setTimeout = (run, ms) => (ms < 1000 ? later(run, ms) : 0) // so that it does not try again by itself
      })
      service.refuseSockets = true
      service.cut()
      await page.waitForSelector('.next-try')
      await reads(
        page,
        '.notices',
        /No link to the service\. Trying again in \d+ s\. What you see is from \d\d:\d\d:\d\d/,
      )
      assert.ok((await page.locator('.ev').count()) > 5)
      for (let line = 0; line < 450; ++line) service.say('workshop', 'claude', `claude: missed ${line}`)
      service.refuseSockets = false
      await page.click('text=Now')
      await page.waitForSelector('text=missed 449')
      await page.waitForSelector('.notices', { state: 'hidden' })
      const shown = await numbers(page)
      assert.deepEqual(
        shown,
        shown.map((_, at) => shown[0] + at),
      )
      const last = service.heard.filter((one) => one.type === 'watch').at(-1)
      assert.ok(last.after > 0)
    },
    { expected: LOST },
  ))

test('markup in a text, a name, a task and a status stays text', () => {
  const markup = '<img src=x onerror="document.title=1"><b>bold</b>'
  return onScene(
    (service) => {
      service.addComputer('workshop', { name: markup })
      service.begin('workshop', markup)
      for (const kind of ['call', 'heard', 'said', 'claude', 'code', 'result', 'bad', 'warn', 'good'])
        service.say('workshop', kind, markup)
      service.state('workshop', { status: markup })
      return '/computers/workshop'
    },
    async (page) => {
      await page.waitForSelector('.ev-good')
      assert.equal(await page.locator('b:has-text("bold"), img[src=x]').count(), 0)
      assert.equal(await text(page, 'h1'), markup)
      for (const line of await page.locator('.ev-text').all()) assert.match(await line.innerText(), /<b>bold<\/b>/)
    },
  )
})

test('a long script shows four lines, all of it on request, and is copied whole', () =>
  onScene('busy', async (page) => {
    await page.context().grantPermissions(['clipboard-read', 'clipboard-write'])
    const script = page.locator('.ev-code').last()
    assert.equal((await script.locator('pre').innerText()).split('\n').length, 4)
    await script.locator('text=Show all 10 lines').click()
    assert.equal((await script.locator('pre').innerText()).split('\n').length, 10)
    await script.locator('text=Copy').click()
    await page.waitForSelector('text=Copied')
    assert.match(
      await page.evaluate(() => navigator.clipboard.readText()),
      /^tell application "Finder"[^]*count found\)$/,
    )
  }))

test('the log follows until the reader scrolls; then it counts what is new, and leads back', () =>
  onScene('busy', async (page, service) => {
    const log = page.locator('.log-body')
    const fromEnd = () => log.evaluate((body) => body.scrollHeight - body.scrollTop - body.clientHeight)
    await page.waitForSelector('.ev-code')
    await until(async () => (await fromEnd()) < 3)
    await log.hover()
    await page.mouse.wheel(0, -400)
    await page.waitForSelector('.follow[aria-pressed=false]')
    const place = await log.evaluate((body) => body.scrollTop)
    for (let line = 0; line < 7; ++line) service.say('workshop', 'claude', `claude: new ${line}`)
    await page.click('text=7 new lines below')
    await until(async () => (await fromEnd()) < 3)
    assert.ok((await log.evaluate((body) => body.scrollTop)) > place)
    service.say('workshop', 'claude', 'claude: and one')
    await page.waitForSelector('text=and one')
    await until(async () => (await fromEnd()) < 3)
  }))

test('100,000 events do not make the document grow, and earlier lines come when one scrolls up', () =>
  onScene('busy', async (page, service) => {
    await page.waitForSelector('.ev-code')
    const lines = () => page.locator('[data-number]').count()
    service.atOnce(() => {
      for (let line = 0; line < 100_000; ++line) service.say('workshop', 'claude', `claude: line ${line}`)
    })
    await page.waitForSelector('text=line 99999', { timeout: 30_000 })
    assert.ok((await lines()) <= 400, `${await lines()} lines`)
    assert.ok((await page.evaluate(() => document.querySelectorAll('*').length)) < 4000)
    const first = (await numbers(page))[0]
    await page.locator('.log-body').hover()
    await until(async () => {
      await page.mouse.wheel(0, -3000)
      return (await numbers(page))[0] < first
    })
    assert.ok((await lines()) <= 400)
    const shown = await numbers(page)
    assert.deepEqual(
      shown,
      shown.map((_, at) => shown[0] + at),
    )
  }))

test('on a phone a long log moves nothing by itself, and earlier lines come on request', () =>
  onScene(
    (service) => {
      service.addComputer('workshop')
      service.begin('workshop', 'beep')
      for (let line = 0; line < 490; ++line) service.say('workshop', 'claude', `claude: line ${line}`)
      return '/computers/workshop'
    },
    async (page, service) => {
      await page.waitForSelector('text=line 489')
      const first = (await numbers(page))[0]
      service.say('workshop', 'claude', 'claude: and one')
      await page.waitForSelector('.new-lines:has-text("1 new line below")', { state: 'attached' })
      assert.equal(await page.evaluate(() => scrollY), 0)
      assert.equal((await numbers(page))[0], first)
      await page.tap('text=Earlier lines')
      await page.waitForSelector('text=Task')
      const shown = await numbers(page)
      assert.deepEqual(
        shown,
        shown.map((_, at) => 1 + at),
      )
    },
    { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true },
  ))

test('a step is chosen on the time line: its picture is large and its lines are in sight', () =>
  onScene('busy', async (page) => {
    await page.click('.tl li:nth-child(2) button')
    await page.waitForSelector('.picture img[alt="Screen of workshop in step 2"]')
    assert.equal(
      await page
        .locator('.strip [aria-current]')
        .innerText()
        .then((words) => words.trim()[0]),
      '2',
    )
    assert.equal(
      await page
        .locator('[data-step="2"]')
        .evaluate((section) =>
          Math.round(section.getBoundingClientRect().top - section.closest('.log-body').getBoundingClientRect().top),
        ),
      0,
    )
    await page.click('.follow')
    await page.waitForSelector('.picture img[alt="Screen of workshop in step 4"]')
  }))

test('away: the time, the way to stop there, the picture in grey, and a box that keeps its text', () =>
  onScene('away', async (page) => {
    await reads(page, '.note.wait', /workshop has been away since .*step 4[^]*ombru stop does[^]*Ctrl\+Shift\+Escape/)
    await page.waitForSelector('.eyes.faded')
    await page.fill('#task', 'print the list')
    await page.keyboard.press('Control+Enter')
    await reads(page, '#task-help', /can be handed over when workshop is back/)
    assert.equal(await page.inputValue('#task'), 'print the list')
    assert.equal(await page.locator('.stop:visible').count(), 0)
  }))

test('a call says who is on the line, since when, and what Stop does', () =>
  onScene('call', async (page) => {
    await reads(
      page,
      '.callband',
      /On a call with \+1 555 0142[^]*since \d\d:\d\d:\d\d · workshop’s sound is shared[^]*Stop ends the task/,
    )
    for (const kind of ['call', 'said', 'heard']) assert.ok(await page.locator(`.ev-${kind}`).count())
  }))

// What a person does on the page, in a browser.
import assert from 'node:assert/strict'
import { after, test } from 'node:test'
import { closeBrowser, onScene, reads, until } from './browser.mjs'

after(closeBrowser)

const LOST = /WebSocket connection|ERR_CONNECTION|Failed to load resource/
test('a first visit creates the owner and goes on to the computers', () =>
  onScene('firstVisit', async (page) => {
    await page.fill('#code', 'ABCD-1234')
    await page.fill('#email', 'owner@house.example')
    await page.fill('#password', 'too short')
    await page.click('.main')
    await reads(page, '#password-help', /9 characters.*at least 12/)
    await page.fill('#password', 'a short sentence')
    await page.click('.main')
    await page.waitForSelector('h1:has-text("Computers")')
  }))

test('a wrong password says how many attempts are left, and the right one opens what was asked for', () =>
  onScene(
    (service) => {
      service.addComputer('workshop')
      service.signedIn = false
      return '/computers/workshop'
    },
    async (page) => {
      await page.fill('#email', 'owner@house.example')
      await page.fill('#password', 'not that one')
      await page.keyboard.press('Enter')
      await reads(page, '[role=alert]', /That didn’t match.*3 attempts are left/)
      await page.fill('#password', 'a short sentence')
      await page.keyboard.press('Enter')
      await page.waitForSelector('task-box')
      assert.equal(new URL(page.url()).pathname, '/computers/workshop')
    },
    { expected: LOST },
  ))

test('signing out closes the link and shows the sign-in', () =>
  onScene('computers', async (page, service) => {
    await page.waitForSelector('.comp')
    await page.click('summary')
    await page.click('text=Sign out')
    await page.waitForSelector('#password')
    await until(() => service.sockets.size === 0)
  }))

test('a sign-out that was refused is said, and can be tried again', () =>
  onScene(
    'computers',
    async (page, service) => {
      await page.waitForSelector('.comp')
      service.instead.set('/api/sign-out', { status: 503, body: { error: 'full', message: 'The disk is full.' } })
      await page.click('summary')
      await page.click('text=Sign out')
      await page.waitForSelector('.notices:has-text("You are still signed in. The disk is full.")')
      assert.equal(await page.locator('.comp').count(), 5)
      service.instead.clear()
      await page.click('.notices >> text=Sign out')
      await page.waitForSelector('#password')
      assert.equal(await page.locator('.notices .note').count(), 0)
      await until(() => service.sockets.size === 0)
    },
    { expected: LOST },
  ))

test('another account that has signed in meanwhile is the one that is shown', () =>
  onScene(
    'idle',
    async (page, service) => {
      await page.fill('#task', 'a secret of the first')
      service.refuseSockets = true
      service.account = { id: 'a2', email: 'other@house.example' }
      service.cut()
      await page.waitForSelector('summary:has-text("other@house.example")')
      service.refuseSockets = false // it tries again by itself
      await page.waitForSelector('#task')
      assert.equal(await page.inputValue('#task'), '')
    },
    { expected: LOST },
  ))

test('a session that has ended elsewhere shows the sign-in', () =>
  onScene('busy', async (page, service) => {
    await page.waitForSelector('.stop:visible')
    service.signedIn = false
    for (const socket of service.sockets) socket.close(4401)
    await page.waitForSelector('#password')
  }))

test('a computer is allowed by its code, typed as one likes', () =>
  onScene(
    (service, scenes) => {
      scenes.verify(service)
      return '/verify'
    },
    async (page, service) => {
      await page.fill('#code', 'kthr4821')
      await page.keyboard.press('Enter')
      await page.click('text=Allow workshop')
      await page.waitForSelector('text=workshop is allowed')
      assert.deepEqual(
        service.heard.find((one) => one.type === 'verify'),
        { type: 'verify', code: 'KTHR-4821', allow: true, before: null },
      )
    },
  ))

for (const [kept, online] of [
  [true, false],
  [false, false],
  [false, true],
])
  test(`a computer that was here before${online ? ' and still is' : ''} ${kept ? 'is it again' : 'may be another one'}`, () =>
    onScene(
      (service, scenes) => {
        const path = scenes.verify(service)
        service.asking.get('KTHR-4821').before = { id: 'old', online }
        return path
      },
      async (page, service) => {
        const before = page.getByRole('switch', { name: 'It was here before' })
        await before.waitFor()
        assert.equal(await before.isChecked(), !online)
        if (!kept && !online) await before.click()
        await page.click('text=Allow workshop')
        await page.waitForSelector('text=workshop is allowed')
        assert.equal(service.heard.find((one) => one.type === 'verify').before, kept ? 'old' : null)
      },
    ))

test('a computer at another address is refused by the first button', () =>
  onScene('verifyOther', async (page, service) => {
    await page.waitForSelector('text=This computer is somewhere else.')
    assert.deepEqual(await page.locator('.gate button').allInnerTexts(), ['Refuse', 'It’s mine: allow annex'])
    await page.click('button:has-text("Refuse")')
    await page.waitForSelector('text=annex was refused')
    assert.equal(service.heard.find((one) => one.type === 'verify').allow, false)
  }))

test('a code that is over is said to be', () =>
  onScene(
    () => '/verify?code=AAAA-1111',
    (page) => reads(page, '[role=alert]', /That code is not good/),
    { expected: LOST },
  ))

test('past tasks are searched in texts and scripts, and an empty answer says so', () =>
  onScene('tasks', async (page) => {
    await page.waitForSelector('.rows li')
    await page.fill('#search', 'backup')
    await page.waitForSelector('mark')
    assert.match(page.url(), /search=backup/)
    await page.fill('#search', 'no such word')
    await page.waitForSelector('text=No task says “no such word”')
    await page.click('text=Clear the search')
    await page.waitForSelector('.day')
  }))

test('a past task has its steps, pictures and scripts, also after a reload, and can be handed over again', () =>
  onScene('task', async (page) => {
    await page.reload()
    await page.waitForSelector('.ev-good')
    assert.equal(await page.locator('.tl li').count(), 6)
    assert.equal(await page.locator('.strip button').count(), 6)
    const right = (selector) => page.locator(selector).evaluate((part) => part.getBoundingClientRect().right)
    await until(async () => (await right('.strip [aria-current]')) <= (await right('.strip')), 'the last is in sight')
    await page.click('text=Hand over again')
    await page.waitForSelector('task-box')
    assert.equal(await page.inputValue('#task'), 'sort the invoices in Downloads by month')
  }))

/** Says "Hello" to callers from now on; the part of the page that is about calls. */
async function saveGreeting(page) {
  await page.fill('#greeting', 'Hello')
  const calls = page.locator('.set').nth(1)
  await calls.locator('button:has-text("Save")').click()
  return calls
}

test('a saved setting is on its way, and then at the computer', () =>
  onScene('settings', async (page, service) => {
    const calls = await saveGreeting(page)
    // It reads so before, for calls that were switched off.
    await until(() => service.settings.get('workshop').greeting === 'Hello')
    await calls.locator('text=Saved · on its way').waitFor()
    service.fetchConfig('workshop')
    await calls.locator('text=At workshop').waitFor()
  }))

test('an emptied system prompt is the default again, and a key is sent once and never shown', () =>
  onScene('settings', async (page, service) => {
    await page.fill('#systemPrompt', 'Be brief.')
    await page.locator('.set').nth(0).locator('button:has-text("Save")').click()
    await until(() => service.settings.get('workshop').systemPrompt === 'Be brief.')
    await page.fill('#systemPrompt', '')
    await page.locator('.set').nth(0).locator('button:has-text("Save")').click()
    await until(() => service.settings.get('workshop').systemPrompt === '')
    await until(async () => /You are controlling/.test(await page.inputValue('#systemPrompt')))
    await page.fill('#speechKey', 'secret')
    await page.locator('.set').nth(1).locator('button:has-text("Save")').click()
    await until(async () => (await page.inputValue('#speechKey')) === '')
  }))

test('what is typed while a setting is being saved stays', () =>
  onScene('settings', async (page) => {
    await page.route('**/settings', async (route) => {
      if (route.request().method() === 'PUT') await page.fill('#systemPrompt', 'Be kind.')
      await route.continue()
    })
    await page.fill('#systemPrompt', 'Be brief.')
    const save = page.locator('.set').nth(0).locator('button:has-text("Save")')
    await Promise.all([page.waitForResponse((reply) => reply.request().method() === 'PUT'), save.click()])
    await page.waitForSelector('.set:first-of-type .saved:has-text("way")')
    assert.equal(await page.inputValue('#systemPrompt'), 'Be kind.')
    assert.equal(await save.getAttribute('aria-disabled'), 'false')
  }))

test('a computer is signed out only when that was asked twice', () =>
  onScene('settings', async (page, service) => {
    await page.click('text=Sign this computer out')
    assert.equal(service.computers.size, 1)
    await page.click('text=Sign workshop out now')
    await until(() => service.computers.get('workshop').revoked)
    await page.waitForSelector('text=No computer yet')
  }))

test('past tasks of a computer that was signed out are read and deleted', () =>
  onScene('tasks', async (page, service) => {
    await page.goto(`${service.address}/computers/workshop/settings`)
    await page.click('text=Sign this computer out')
    await page.click('text=Sign workshop out now')
    await page.click('.past a:has-text("workshop")')
    await page.click('.rows a:has-text("print the delivery notes")')
    await page.waitForSelector('.job h2:has-text("print the delivery notes")')
    await page.click('.tabs >> text=Settings')
    await page.waitForSelector('text=Delete its past tasks')
    assert.equal(await page.locator('button:has-text("Save"):visible').count(), 0)
    assert.equal(await page.locator('text=Sign this computer out').count(), 0)
    await page.click('text=Delete its past tasks')
    await page.click('text=Delete tasks, pictures and scripts now')
    await page.waitForSelector('text=Its past tasks are deleted.')
    await page.click('.brand')
    await page.waitForSelector('text=No computer yet')
    assert.equal(await page.locator('.past a').count(), 0)
  }))

test('where a computer signs in is a command to copy, with the address of this page', () =>
  onScene('empty', async (page, service) => {
    await page.context().grantPermissions(['clipboard-read', 'clipboard-write'])
    const command = `ombru sign-in --server ${service.address}`
    await page.click('text=Copy')
    await page.waitForSelector('text=Copied')
    assert.equal(await page.evaluate(() => navigator.clipboard.readText()), command)
    assert.equal(await page.locator('text=phone icon').count(), 0, 'the panel does not lead here')
    await page.click('text=I have a code')
    await page.waitForSelector(`pre:has-text("${command}")`)
  }))

test('a task that ends leaves the earlier ones that were loaded', () =>
  onScene(
    (service) => {
      service.addComputer('workshop')
      for (let number = 1; number <= 120; ++number) {
        service.begin('workshop', `task ${number}`, { began: service.now() - 1000 + number })
        service.end('workshop', 'done')
      }
      return '/computers/workshop/tasks'
    },
    async (page, service) => {
      const rows = () => page.locator('.rows li').count()
      await page.click('text=Earlier tasks')
      await until(async () => (await rows()) === 100)
      service.begin('workshop', 'task 121')
      service.end('workshop', 'stopped')
      await page.waitForSelector('text=task 121')
      assert.equal(await rows(), 101)
      await page.click('text=Earlier tasks')
      await until(async () => (await rows()) === 121)
      assert.equal(await page.locator('text=Earlier tasks').count(), 0)
    },
  ))

test('a choice of outcomes that none has says so, and leads back', () =>
  onScene('tasks', async (page) => {
    await page.click('.chip:has-text("Failed")')
    await page.fill('#search', 'sort the invoices')
    await page.waitForSelector('text=None is “Failed”')
    await page.click('text=Show all')
    await page.waitForSelector('.rows li')
  }))

test('what could not be loaded is tried again on request', () =>
  onScene(
    'broken',
    async (page, service) => {
      await page.waitForSelector('text=That could not be loaded.')
      service.instead.clear()
      await page.click('text=Try again')
      await page.waitForSelector('text=Nothing handed over yet')
    },
    { expected: LOST },
  ))

test('one page too many says so, when it tries again, and is one of them once there is room', () =>
  onScene(
    'busy',
    async (page, service) => {
      await page.waitForSelector('.ev')
      service.closesWith = 4429
      service.cut()
      await page.waitForSelector('.notices:has-text("Too many pages are open. Close some of them. Trying again in 1")')
      service.closesWith = 0
      await page.click('.notices button:has-text("Now")')
      await page.waitForSelector('.notices', { state: 'hidden' })
    },
    { expected: LOST },
  ))

test('another tab that has signed in again takes nothing from this one', () =>
  onScene(
    'settings',
    async (page, service) => {
      await page.waitForSelector('#greeting')
      service.csrf = 'of another session'
      await saveGreeting(page)
      await until(() => service.settings.get('workshop').greeting === 'Hello')
    },
    { expected: LOST },
  ))

test('a service that refuses everything is asked no more than once again', () =>
  onScene(
    'settings',
    async (page, service) => {
      await page.waitForSelector('#greeting')
      const refusal = { status: 403, body: { error: 'forbidden', message: 'Not from here.' } }
      service.instead.set('/api/me', refusal)
      service.instead.set('/api/computers/workshop/settings', refusal)
      const before = service.requests.length
      await saveGreeting(page)
      await page.waitForSelector('.trouble:has-text("Not from here.")')
      const asked = service.requests.slice(before).map(({ method, path }) => `${method} ${path}`)
      const put = 'PUT /api/computers/workshop/settings'
      assert.deepEqual(asked, [put, 'GET /api/me', put])
    },
    { expected: LOST },
  ))

test('what one account asked for is not asked for another that has signed in meanwhile', () =>
  onScene(
    'settings',
    async (page, service) => {
      await page.waitForSelector('#greeting')
      Object.assign(service, { csrf: 'of another session', account: { id: 'a2', email: 'guest@house.example' } })
      await saveGreeting(page)
      await page.waitForSelector('.who:has-text("guest@house.example")')
      assert.notEqual(service.settings.get('workshop').greeting, 'Hello')
      assert.equal(service.requests.filter(({ method }) => method === 'PUT').length, 1)
    },
    { expected: LOST },
  ))

test('a full disk is said on the page', () =>
  onScene('busy', async (page, service) => {
    await page.waitForSelector('.ev')
    service.full('New pictures are shown but not kept.')
    await page.waitForSelector('.notices:has-text("The service’s disk is full. New pictures")')
  }))

test('by keyboard alone: skip link, hand over, stop, walk the strip, enlarge and come back', () =>
  onScene('idleNew', async (page, service) => {
    await page.waitForSelector('#task')
    await page.keyboard.press('Tab')
    assert.equal(await page.evaluate(() => document.activeElement.className), 'skip')
    await page.keyboard.press('Enter')
    await page.keyboard.press('Tab')
    assert.equal(await page.evaluate(() => document.activeElement.id), 'task')
    await page.keyboard.type('beep')
    await page.keyboard.press('Control+Enter')
    await page.waitForSelector('.stop:visible')
    for (const step of [1, 2]) {
      service.state('workshop', { step })
      service.picture('workshop', step)
    }
    await page.waitForSelector('.strip button:nth-child(2)')
    await page.focus('.strip button:nth-child(2)')
    await page.keyboard.press('ArrowLeft')
    await page.waitForSelector('.picture img[alt="Screen of workshop in step 1"]')
    await page.focus('figcaption .btn')
    await page.keyboard.press('Enter')
    await page.waitForSelector('dialog[open]')
    await page.keyboard.press('ArrowRight')
    await page.waitForSelector('dialog img[alt="Screen of workshop in step 2"]')
    await page.keyboard.press('Escape')
    await page.waitForSelector('dialog', { state: 'hidden' })
    assert.equal(await page.evaluate(() => document.activeElement.innerText), 'Enlarge')
    await page.keyboard.press('Control+.')
    await until(() => service.heard.some((one) => one.type === 'cancel'))
  }))

test('a screen reader hears steps, thoughts and the end, and the log is silent', () =>
  onScene('idleNew', async (page, service) => {
    await page.waitForSelector('#task')
    const status = page.locator('[role=status]')
    service.begin('workshop', 'beep')
    await page.waitForSelector('.job')
    service.say('workshop', 'claude', 'claude: I look. And then more.', { step: 1 })
    await until(async () => (await status.textContent()) === 'I look.')
    service.say('workshop', 'good', '✓ Done so.')
    await until(async () => (await status.textContent()) === 'Done. Done so.')
    assert.equal(await page.locator('.log [aria-live], .log[aria-live], .log [role=log]').count(), 0)
    assert.equal(await page.locator('[role=status]').count(), 1)
  }))

test('on a phone: by touch, Stop in the dock, and nothing is wider than the screen', () =>
  onScene(
    'busy',
    async (page, service) => {
      await page.waitForSelector('.ev-code')
      const stop = await page.locator('.stop').boundingBox()
      assert.ok(stop.height >= 52 && stop.y > 700, JSON.stringify(stop))
      await page.tap('.tl li:nth-child(2) button')
      await page.waitForSelector('.picture img[alt="Screen of workshop in step 2"]')
      assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390)
      await page.tap('.stop')
      await until(() => service.heard.some((one) => one.type === 'cancel'))
      for (const path of ['/', '/computers/workshop/tasks', '/computers/workshop/settings', '/verify']) {
        await page.goto(service.address + path)
        await page.waitForSelector('main h1, main h2, #search')
        assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390, path)
      }
    },
    { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true },
  ))

test('with reduced motion nothing moves', () =>
  onScene(
    'busy',
    async (page) => {
      await page.waitForSelector('.state.live')
      assert.equal(await page.evaluate(() => document.getAnimations().length), 0)
    },
    { reducedMotion: 'reduce' },
  ))

test('the top line stands before any module has come, and stays where it is', async () => {
  const places = []
  for (const javaScriptEnabled of [false, true])
    await onScene(
      'empty',
      async (page) => {
        if (javaScriptEnabled) await page.waitForSelector('text=No computer yet')
        const part = (selector) => page.locator(`.top ${selector}`).boundingBox()
        places.push([await part('.brand'), await part('.brand svg')])
      },
      { javaScriptEnabled },
    )
  assert.deepEqual(places[0], places[1])
})

test('it can be installed: the manifest names icons that are there', () =>
  onScene('empty', async (page, service) => {
    const manifest = await (await fetch(`${service.address}/web/manifest.webmanifest`)).json()
    for (const icon of manifest.icons) assert.equal((await fetch(service.address + icon.src)).status, 200)
    await page.waitForSelector('text=No computer yet')
  }))

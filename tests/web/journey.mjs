// All that a person does with a service, from the first visit to signing the computer out. Only the model is played.
import assert from 'node:assert/strict'
import { heardFrequency, openBrowser, openPage, reads, until } from './browser.mjs'
import { Household } from './household.mjs'

const LOST = /WebSocket connection|ERR_CONNECTION|ERR_EMPTY_RESPONSE|ERR_SOCKET/
const PATIENCE = 30_000
const OWNER = { email: 'owner@house.example', password: 'a short sentence' }

class Journey {
  /** @param {Household} house @param {object} page @param {boolean} touch */
  constructor(house, page, touch) {
    Object.assign(this, { house, page, touch })
  }

  press(selector) {
    return this.touch ? this.page.tap(selector) : this.page.click(selector)
  }

  async enter(entries) {
    for (const [name, value] of Object.entries(entries)) await this.page.fill(`#${name}`, value)
    await this.press('.main')
  }

  async fits() {
    const [wide, screen] = await this.page.evaluate(() => [document.documentElement.scrollWidth, innerWidth])
    assert.ok(wide <= screen, `${this.page.url()} is ${wide} wide on ${screen}`)
  }

  async visitFirst() {
    await this.enter({ code: this.house.visitCode, ...OWNER })
    await this.page.waitForSelector('text=No computer yet')
    await this.press('summary')
    await this.press('text=Sign out')
    await this.page.waitForSelector('h1:has-text("Sign in")')
    await this.enter(OWNER)
    await this.page.waitForSelector('text=No computer yet')
  }

  async pair() {
    const code = await this.house.signIn()
    await this.press('text=I have a code')
    await this.enter({ code })
    await this.page.waitForSelector('text=the same address as this browser')
    await this.fits()
    await this.press('button:has-text("Allow")')
    await this.page.waitForSelector('h1:has-text("is allowed")')
    await this.house.startApplication()
    await this.page.waitForSelector('.comp .state:has-text("Ready")')
    await this.press('.comp h2 a')
    this.name = await this.page.innerText('h1')
  }

  async handOver(task) {
    await this.page.fill('#task', task)
    await this.press('text=Hand over')
    await this.page.waitForSelector(`.job h2:has-text("${task}")`)
  }

  async doTask() {
    await this.handOver('count the letters')
    await this.page.waitForSelector('.answer .said:has-text("There are three.")')
    await this.showsWholeTask()
    await this.fits()
  }

  async showsWholeTask() {
    // The answer comes with the computer, its lines with the items.
    const kinds = () => this.page.locator('.ev-kind').allInnerTexts()
    await until(async () => `${(await kinds()).slice(0, 4)}` === 'Task,Claude,Script,Result', 'its lines')
    await reads(this.page, '.ev-result', /3/)
    await until(() => this.page.$eval('.picture img', (picture) => picture.complete && picture.naturalWidth > 300))
  }

  numbers() {
    return this.page.$$eval('[data-number]', (lines) => lines.map((line) => Number(line.dataset.number)))
  }

  async stop() {
    await this.handOver('wait for the tide')
    await this.page.waitForSelector('.ev-code:has-text("delay 600")')
    await this.press('.stop')
    await this.page.waitForSelector('.answer:has-text("Stopped")')
    await until(async () => !(await this.house.status()).busy)
  }

  async listen() {
    const end = this.house.playTone(1000)
    await this.press('.listen-button')
    await this.page.waitForSelector(`text=Live from ${this.name}`)
    const isHeard = async () => Math.abs((await heardFrequency(this.page)).frequency - 1000) < 8
    await until(isHeard, 'the tone', 20)
    await until(async () => Number(await this.page.getAttribute('.level', 'aria-valuenow')) > -20)
    await this.fits()
    await this.press('.listen-button')
    await this.page.waitForSelector('sound-panel', { state: 'detached' })
    await until(async () => !(await this.house.isRecorded()))
    await end()
  }

  // What happens meanwhile is there when the link is back, and the page is the same as before.
  async loseLink() {
    await this.page.evaluate(() => (globalThis.theSame = true))
    const before = Math.max(...(await this.numbers()))
    this.house.proxy.cut()
    await this.page.waitForSelector('.next-try')
    await this.house.doHere('count the letters')
    this.house.proxy.isCut = false
    await this.page.waitForSelector('.notices', { state: 'hidden' })
    await this.page.waitForSelector('.answer .said:has-text("There are three.")')
    await this.showsWholeTask()
    assert.ok((await this.numbers()).every((number) => number > before))
    assert.equal(await this.page.evaluate(() => globalThis.theSame), true)
  }

  /** The numbers of all that the page has, and of what the service has of the task. */
  heldOfTask() {
    return this.page.evaluate(async () => {
      const { store } = await import('/web/session.js')
      const task = store.current.lastTask.id
      const { items } = await (await fetch(`/api/tasks/${task}`)).json()
      const numbers = (some) => some.map((item) => item.number)
      return { shown: numbers(store.history.items.filter((item) => item.task === task)), kept: numbers(items) }
    })
  }

  // In the middle of a task: the computer goes on, and the page has it all once the service is back.
  async killService() {
    await this.page.evaluate(() => (globalThis.theSame = true))
    await this.handOver('watch the waves')
    await this.page.waitForSelector('.ev-code:has-text("turned")')
    await this.house.killService()
    await this.page.waitForSelector('.next-try')
    this.house.startService()
    await this.page.waitForSelector('.notices', { state: 'hidden', timeout: PATIENCE })
    await until(async () => (await this.house.status()).connected, 'the computer')
    this.house.turnTide()
    await this.page.waitForSelector('.answer .said:has-text("The tide has turned.")', { timeout: PATIENCE })
    await until(async () => /first wave[^]*second wave/.test(await this.page.locator('.ev-result').allInnerTexts()))
    let kept = []
    await until(async () => {
      const held = await this.heldOfTask()
      kept = held.kept
      return kept.length >= 8 && `${held.shown}` === `${kept}`
    }, 'all of the task')
    assert.deepEqual(kept, kept.map((_, at) => kept[0] + at), 'without a gap')
    const lines = await this.numbers()
    assert.equal(new Set(lines).size, lines.length, `twice: ${lines}`)
    assert.equal(await this.page.evaluate(() => globalThis.theSame), true)
  }

  async revoke() {
    await this.press('a:has-text("Settings")')
    await this.press('text=Sign this computer out')
    await this.press(`text=Sign ${this.name} out now`)
    await this.page.waitForSelector('text=No computer yet')
    await until(async () => !(await this.house.status()).connected)
  }
}

/** @param {object} options of the browser's page */
export async function journey(options = {}) {
  const house = new Household()
  // The browser plays into another output than the one that is listened to.
  const browser = await openBrowser([], { PULSE_SINK: 'headphones' })
  try {
    await house.begin()
    const { page, trouble } = await openPage(browser, house, '/', options)
    const trip = new Journey(house, page, options.hasTouch === true)
    for (const step of ['visitFirst', 'pair', 'doTask', 'stop', 'listen', 'loseLink', 'killService', 'revoke']) await trip[step]()
    assert.deepEqual(
      trouble.filter((line) => !LOST.test(line)),
      [],
    )
  } finally {
    await browser.close()
    await house.end()
  }
}

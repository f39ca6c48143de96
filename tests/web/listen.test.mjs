// Listening: what the browser gives to its speaker is what the computer played.
import assert from 'node:assert/strict'
import { after, test } from 'node:test'
import { closeBrowser, heardFrequency, onScene, until } from './browser.mjs'

after(closeBrowser)

const RATE = 24000
const FLAGS = ['--autoplay-policy=no-user-gesture-required']

/** Sends a tone in blocks, as it would come, until it is told to end. */
function playTone(service, frequency) {
  let sent = 0
  const began = Date.now()
  const timer = setInterval(() => {
    for (; sent < ((Date.now() - began) / 1000) * RATE; sent += 960) {
      const block = Int16Array.from(
        { length: 960 },
        (_, at) => 9000 * Math.sin(((sent + at) * frequency * 2 * Math.PI) / RATE),
      )
      service.sound('workshop', Buffer.from(block.buffer))
    }
  }, 20)
  return () => clearInterval(timer)
}

test('a tone comes out with its frequency, the level moves, and silence follows', () =>
  onScene(
    'idleNew',
    async (page, service) => {
      await page.click('.listen-button')
      await until(() => service.heard.some((one) => one.type === 'listen' && one.on))
      const end = playTone(service, 1000)
      await page.waitForSelector('text=Live from workshop')
      await until(async () => Math.abs((await heardFrequency(page)).frequency - 1000) < 8)
      await until(async () => Number(await page.getAttribute('.level', 'aria-valuenow')) > -20)
      end()
      await page.waitForSelector('text=Waiting for workshop')
      await until(async () => (await page.getAttribute('.level', 'aria-valuetext')) === 'silent')
      await page.click('.listen-button')
      await until(() => service.heard.some((one) => one.type === 'listen' && !one.on))
      await page.waitForSelector('sound-panel', { state: 'detached' })
    },
    { flags: FLAGS },
  ))

test('signing out ends the listening, and the next who signs in does not listen', () =>
  onScene(
    'idleNew',
    async (page, service) => {
      const listens = () => service.heard.filter((one) => one.type === 'listen').map((one) => one.on)
      await page.click('.listen-button')
      await until(() => listens().length === 1)
      await page.click('summary')
      await page.click('text=Sign out')
      await page.waitForSelector('#email')
      assert.equal(await page.evaluate(async () => (await import('/web/sound/player.js')).player.context), null)
      service.account = { id: 'a2', email: 'other@house.example' }
      await page.fill('#email', service.account.email)
      await page.fill('#password', service.password)
      await page.keyboard.press('Enter')
      await page.click('a:has-text("workshop")')
      await page.waitForSelector('.listen-button[aria-pressed=false]')
      await until(() => service.heard.filter((one) => one.type === 'watch').length === 2)
      assert.deepEqual(listens(), [true])
    },
    { flags: FLAGS },
  ))

test('leaving the computer ends the listening', () =>
  onScene(
    'idleNew',
    async (page, service) => {
      await page.click('.listen-button')
      await until(() => service.heard.some((one) => one.type === 'listen' && one.on))
      await page.click('.brand')
      await until(() => service.heard.some((one) => one.type === 'listen' && !one.on))
    },
    { flags: FLAGS },
  ))

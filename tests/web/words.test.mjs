// What the page makes of times, states and paths.
import assert from 'node:assert/strict'
import { test } from 'node:test'
import { load } from './modules.mjs'

process.env.TZ = 'UTC'
const format = await load('format.js')
const words = await load('words.js')
const { routeOf, computerPath, taskPath } = await load('router.js')
const at = (...parts) => Date.UTC(...parts) / 1000
const NOW = at(2026, 10, 22, 10, 43, 18)
const computer = (more) => ({
  name: 'workshop',
  online: true,
  revoked: false,
  since: 1,
  state: null,
  lastTask: null,
  ...more,
})

test('times are the clock, today and yesterday by name, and the year only when it is another', () => {
  assert.equal(format.clock(NOW), '10:43:18')
  assert.equal(format.shortDay(at(2026, 10, 22, 9, 12), NOW), 'Today 09:12')
  assert.equal(format.shortDay(at(2026, 10, 21, 23, 59), NOW), 'Yesterday 23:59')
  assert.equal(format.shortDay(at(2026, 10, 20, 11, 30), NOW), 'Fri 11:30')
  assert.equal(format.shortDay(at(2026, 10, 3, 11, 30), NOW), '3 Nov 2026')
  assert.equal(format.day(at(2026, 10, 20), NOW), 'Friday 20 November')
  assert.equal(format.day(at(2025, 10, 20), NOW), 'Thursday 20 November 2025')
  assert.equal(format.when(NOW - 60, NOW), '10:42')
  assert.equal(format.when(at(2026, 10, 21, 16, 20), NOW), 'yesterday 16:20')
})

test('a time ahead of the clock is no negative span', () => {
  assert.equal(format.span(-5), '0 s')
  assert.equal(format.span(71), '1 min 11 s')
  assert.equal(format.span(7380), '2 h 03 min')
  assert.equal(format.minutes(59), '0 minutes')
  assert.equal(format.minutes(60), '1 minute')
})

test('the opening of a text is its first sentence, cut when it is long', () => {
  assert.equal(format.opening('The dates are clear. I’ll make three folders.'), 'The dates are clear.')
  assert.equal(format.opening('version 1.4 is there\nmore'), 'version 1.4 is there')
  assert.equal(format.opening('x'.repeat(200)).length, 120)
})

test('a search is found whatever its case, and all of the text stays', () => {
  assert.deepEqual(format.pieces('Invoices: an invoice', 'invoice'), ['', 'Invoice', 's: an ', 'invoice', ''])
  assert.deepEqual(format.pieces('nothing', ''), ['nothing'])
})

test('a state is a word: ready, working, on a call, away, never seen, signed out', () => {
  const word = (more) => words.stateWord(computer(more)).word
  const state = { busy: false, calls: [] }
  assert.equal(word({ state }), 'Ready')
  assert.equal(word({ state: { ...state, busy: true } }), 'Working')
  assert.equal(word({ state: { ...state, calls: ['+1 555 0142'] } }), 'On a call')
  assert.equal(word({ state: { busy: true, calls: ['+1 555 0142'] } }), 'On a call · working')
  assert.equal(word({ online: false, state: { ...state, busy: true } }), 'Away')
  assert.equal(word({ online: false, since: null }), 'Never seen')
  assert.equal(word({ revoked: true }), 'Signed out')
})

test('a task that has ended is shown for ten minutes, and as long as the page saw it run', () => {
  const scene = (ago, seen) => words.sceneOf(computer({ lastTask: { ended: NOW - ago } }), NOW, seen)
  assert.equal(scene(599, false), 'finished')
  assert.equal(scene(601, false), 'idle')
  assert.equal(scene(601, true), 'finished')
})

test('what the gutter says already is taken from the text, and the telephone is no emoji', () => {
  assert.deepEqual(words.readLine({ kind: 'claude', text: 'claude: Hello' }), {
    word: 'Claude',
    lead: 'claude: ',
    text: 'Hello',
  })
  assert.deepEqual(words.readLine({ kind: 'code', text: 'script:\nbeep' }), {
    word: 'Script',
    lead: 'script:\n',
    text: 'beep',
  })
  assert.equal(words.readLine({ kind: 'call', text: '☎ call' }).text, '☎\uFE0E call')
  assert.equal(words.readLine({ kind: 'user', text: 'web ❯ claude: x' }).text, 'web ❯ claude: x')
})

test('an unknown end is said to be unknown', () => {
  const task = { outcome: 'unknown', steps: 4, answer: '' }
  assert.equal(words.outcomeWord(task).word, 'End not known')
  assert.match(words.answerOf(task), /not seen.*step 4/)
})

test('a saved setting is on its way until the computer has asked for it', () => {
  const tell = (settings, more) =>
    words.arrival({ savedAt: {}, arrivedAt: {}, fetchedAt: null, ...settings }, ['voice'], computer(more), NOW)
  assert.equal(tell({}).word.word, 'As it was at first')
  const saved = { savedAt: { voice: NOW - 10 }, fetchedAt: NOW - 20 }
  assert.equal(tell(saved).word.word, 'Saved · on its way')
  assert.equal(tell(saved).more, 'workshop asks once a minute, next at 10:43')
  assert.match(tell(saved, { online: false }).more, /away/)
  assert.equal(tell({ ...saved, fetchedAt: NOW }).word.word, 'At workshop')
  assert.equal(tell({ ...saved, fetchedAt: NOW, arrivedAt: { voice: NOW - 5 } }).word.word, 'At workshop since 10:43')
})

test('a path is a view, and whatever an id is it comes back from its path', () => {
  assert.deepEqual(routeOf('/'), { view: 'computers', id: '' })
  assert.deepEqual(routeOf(computerPath('a/b ü', 'tasks')), { view: 'tasks', id: 'a/b ü' })
  assert.deepEqual(routeOf(taskPath('%')), { view: 'task', id: '%' })
  assert.deepEqual(routeOf('/tasks/%'), { view: 'task', id: '%' })
  assert.equal(routeOf('/computers/a/other').view, 'nothing')
})

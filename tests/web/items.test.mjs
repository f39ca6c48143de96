// The items that the page holds, and the steps that they tell.
import assert from 'node:assert/strict'
import { test } from 'node:test'
import { load } from './modules.mjs'

const { History, MOST_ITEMS, MOST_STEPS, Steps } = await load('items.js')
const item = (number, more = {}) => ({
  number,
  computer: 'c',
  task: 't',
  step: 0,
  time: number,
  kind: 'claude',
  text: 'x',
  ...more,
})
const range = (from, to) => Array.from({ length: to - from + 1 }, (_, at) => item(from + at))

test('items come in once and in order, whatever is sent again', () => {
  const history = new History()
  history.take(range(1, 3))
  const { taken, gap } = history.take(range(2, 5))
  assert.deepEqual(
    taken.map((one) => one.number),
    [4, 5],
  )
  assert.equal(gap, false)
  assert.deepEqual(
    history.items.map((one) => one.number),
    [1, 2, 3, 4, 5],
  )
})

test('a gap is told, and nothing behind it is taken', () => {
  const history = new History()
  history.take(range(1, 3))
  const { taken, gap } = history.take([item(4), item(6), item(7)])
  assert.deepEqual(
    taken.map((one) => one.number),
    [4],
  )
  assert.equal(gap, true)
  assert.equal(history.last, 4)
})

test('the first items may begin anywhere', () => {
  const history = new History()
  assert.equal(history.take(range(900, 901)).gap, false)
})

test('100,000 items leave no more behind than the page keeps', () => {
  const history = new History()
  for (let from = 1; from <= 100_000; from += 200) history.take(range(from, from + 199))
  assert.equal(history.items.length, MOST_ITEMS)
  assert.equal(history.last, 100_000)
})

test('the scene begins with the newest task, and a call that led to it', () => {
  const history = new History()
  history.take([
    item(1, { task: 'old' }),
    item(2, { task: null, kind: 'call' }),
    item(3, { task: null, kind: 'said' }),
    item(4),
    item(5),
  ])
  assert.equal(history.sceneStart, 1)
})

test('a step lasts from its picture to the next, and a failed script is marked', () => {
  const steps = new Steps()
  for (const one of [
    item(1, { step: 1, kind: 'picture', time: 10 }),
    item(2, { step: 1, kind: 'code', time: 14 }),
    item(3, { step: 1, kind: 'bad', time: 15 }),
    item(4, { step: 2, kind: 'picture', time: 16 }),
    item(5, { step: 2, kind: 'code', time: 20 }),
  ])
    steps.add(one)
  const [first, second] = steps.segments(23, true)
  assert.deepEqual(first, { number: 1, seconds: 6, thinking: 4, running: 1, failed: true, now: false })
  assert.deepEqual(second, { number: 2, seconds: 7, thinking: 4, running: 3, failed: false, now: true })
})

test('a clock that was set back makes no negative times', () => {
  const steps = new Steps()
  steps.add(item(1, { step: 1, kind: 'picture', time: 100 }))
  steps.add(item(2, { step: 1, kind: 'code', time: 90 }))
  const [only] = steps.segments(80, true)
  assert.ok(only.seconds >= 0 && only.thinking >= 0 && only.running >= 0)
})

test('steps without end are not kept without end', () => {
  const steps = new Steps()
  for (let step = 1; step <= 5000; ++step) steps.add(item(step, { step }))
  assert.equal(steps.list.length, MOST_STEPS)
  assert.equal(steps.list.at(-1).number, 5000)
})

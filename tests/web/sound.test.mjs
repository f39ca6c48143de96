// Sound between the network, which sends it in bursts, and the speaker, which asks at a steady pace.
import assert from 'node:assert/strict'
import { test } from 'node:test'
import { load } from './modules.mjs'

const { RATE, SoundQueue } = await load('sound/queue.js')
const ASKED = 128

const tone = (frequency, from, length) =>
  Int16Array.from({ length }, (_, at) => 16000 * Math.sin(((from + at) * frequency * 2 * Math.PI) / RATE))

/** Plays so many seconds; what is sent each time is told how much was asked for. */
function play(queue, seconds, send) {
  const heard = new Float32Array(Math.floor((seconds * RATE) / ASKED) * ASKED)
  for (let at = 0; at < heard.length; at += ASKED) {
    send(at)
    queue.pull(heard.subarray(at, at + ASKED))
  }
  return heard
}

/** A sender whose clock is a trifle off, which sends so many samples at once. */
function sender(queue, frequency, block, pace = 1) {
  let sent = 0
  return (asked) => {
    for (; sent + block <= (asked + ASKED) * pace; sent += block) queue.push(tone(frequency, sent, block))
  }
}

/** The frequency by its rising crossings. */
function frequencyOf(samples) {
  let crossings = 0
  for (let at = 1; at < samples.length; ++at) if (samples[at - 1] < 0 && samples[at] >= 0) ++crossings
  return (crossings * RATE) / samples.length
}

const longestSilence = (samples) => {
  let longest = 0
  let current = 0
  for (const sample of samples) longest = Math.max(longest, (current = Math.abs(sample) < 1e-4 ? current + 1 : 0))
  return longest
}

test('what comes in bursts goes out without a gap', () => {
  const queue = new SoundQueue()
  const heard = play(queue, 20, sender(queue, 440, 1920)).subarray(RATE)
  assert.ok(longestSilence(heard) < 4)
  assert.ok(Math.abs(frequencyOf(heard) - 440) < 3)
})

for (const pace of [0.999, 1.001])
  test(`a sender at ${pace} of our pace makes neither a gap nor a growing delay`, () => {
    const queue = new SoundQueue()
    const heard = play(queue, 300, sender(queue, 440, 960, pace)).subarray(5 * RATE)
    assert.ok(longestSilence(heard) < 4, `a silence of ${longestSilence(heard)}`)
    assert.ok(queue.waiting < 0.25 * RATE, `${queue.waiting / RATE} s wait`)
  })

test('after a pause in the network the delay is what it was', () => {
  const queue = new SoundQueue()
  const send = sender(queue, 440, 960)
  play(queue, 5, send)
  play(queue, 2, () => {})
  queue.push(tone(440, 0, 2 * RATE))
  assert.ok(queue.waiting <= 0.2 * RATE, `${queue.waiting / RATE} s wait`)
  const heard = play(queue, 1, () => {})
  assert.ok(heard.some((sample) => Math.abs(sample) > 0.1))
})

test('nothing is played before there is a reserve for the next burst', () => {
  const queue = new SoundQueue()
  const out = new Float32Array(ASKED)
  for (let sent = 0; sent < 2400; sent += 960) {
    queue.push(tone(440, sent, 960))
    queue.pull(out)
    assert.equal(out.some(Boolean), sent + 960 >= 0.12 * RATE)
  }
})

test('without sound there is silence, and the level says so', () => {
  const queue = new SoundQueue()
  assert.ok(play(queue, 1, () => {}).every((sample) => sample === 0))
  assert.equal(queue.takeLevel(), -100)
  const send = sender(queue, 440, 960)
  play(queue, 1, send)
  assert.ok(Math.abs(queue.takeLevel() - 20 * Math.log10(16000 / 32768)) < 0.2)
})

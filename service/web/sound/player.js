// Plays the sound of the watched computer while somebody listens. One for the page.

import { now } from '../api.js'
import { store } from '../session.js'
import { RATE } from './queue.js'

class Player {
  /** @type {(level: number) => void} in decibels */
  onlevel = () => {}
  /** Told when the first sound comes. */
  onsound = () => {}
  /** When sound last came; 0 for never. */
  heard = 0
  trouble = ''
  loudness = 0.7
  /** @type {AudioContext | null} */
  context = null
  /** @type {AudioWorkletNode | null} */
  #node = null
  /** @type {GainNode | null} */
  #gain = null

  async start() {
    this.heard = 0
    this.trouble = ''
    const context = new AudioContext({ sampleRate: RATE, latencyHint: 'interactive' })
    this.context = context
    const loaded = await context.audioWorklet?.addModule('/web/sound/worklet.js').then(
      () => true,
      () => false,
    )
    if (context !== this.context) return
    if (!loaded) this.trouble = 'This browser plays no sound here: it does so only over https, or from this computer.'
    else this.#connect(context)
  }

  /** @param {AudioContext} context */
  #connect(context) {
    this.#gain = new GainNode(context, { gain: this.loudness })
    this.#node = new AudioWorkletNode(context, 'computer-sound', { numberOfInputs: 0, outputChannelCount: [1] })
    this.#node.port.onmessage = ({ data }) => this.onlevel(data)
    this.#node.connect(this.#gain).connect(context.destination)
    void context.resume()
  }

  stop() {
    void this.context?.close()
    this.context = null
    this.#node = null
  }

  /** @param {ArrayBuffer} samples 16 bits, little-endian, 24,000 a second */
  push(samples) {
    if (!this.#node || samples.byteLength % 2) return
    const first = !this.heard
    this.heard = now()
    if (first) this.onsound()
    this.#node.port.postMessage(samples, [samples])
  }

  /** @param {number} loudness */
  setLoudness(loudness) {
    this.loudness = loudness
    if (this.#gain) this.#gain.gain.value = loudness
  }

  /** What is played, for a test to look into. */
  get output() {
    return this.#gain
  }
}

export const player = new Player()
store.live.onSound = (samples) => player.push(samples)
store.on('listening', () => (store.listening ? void player.start() : player.stop()))

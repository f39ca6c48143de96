// The end of the queue that runs on the browser's audio thread.

import { SoundQueue } from './queue.js'

const LEVEL_EVERY = 10

class ComputerSound extends AudioWorkletProcessor {
  #queue = new SoundQueue()
  #turn = 0

  constructor() {
    super()
    this.port.onmessage = ({ data }) => this.#queue.push(new Int16Array(data))
  }

  /** @param {Float32Array[][]} _inputs @param {Float32Array[][]} outputs */
  process(_inputs, outputs) {
    const [first, ...others] = outputs[0] ?? []
    if (!first) return true
    this.#queue.pull(first)
    for (const other of others) other.set(first)
    if (++this.#turn % LEVEL_EVERY === 0) this.port.postMessage(this.#queue.takeLevel())
    return true
  }
}

registerProcessor('computer-sound', ComputerSound)

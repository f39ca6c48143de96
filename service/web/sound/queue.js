// Sound on its way from the network, which comes in bursts, to the speaker, which asks at a steady pace. Keeps a short
// reserve: waits until it is there, then plays a trifle faster or slower so that it stays, and skips when a burst has made
// it long. Pure.

export const RATE = 24000
const RESERVE = 0.12 * RATE
const LONGEST = 0.5 * RATE
const ROOM = 4 * RATE
const BEND = 0.004

export class SoundQueue {
  #ring = new Float32Array(ROOM)
  #written = 0
  #read = 0
  #playing = false
  /** How much is waiting, smoothed: single packets come and go. */
  #level = RESERVE
  #peak = 0

  get waiting() {
    return this.#written - this.#read
  }

  /** @param {Int16Array} samples */
  push(samples) {
    for (const sample of samples) this.#ring[this.#written++ % ROOM] = sample / 32768
    if (this.waiting <= LONGEST) return
    this.#read = this.#written - RESERVE
    this.#level = RESERVE
  }

  /** Fills what the speaker asks for; silence while the reserve is gathered. @param {Float32Array} out */
  pull(out) {
    if (!this.#playing && this.waiting < RESERVE) return void out.fill(0)
    this.#playing = true
    this.#level += (this.waiting - this.#level) * 0.005
    const pace = 1 + Math.max(-BEND, Math.min(BEND, ((this.#level - RESERVE) / RESERVE) * BEND))
    for (let place = 0; place < out.length; ++place) out[place] = this.#next(pace)
  }

  /** @param {number} pace */
  #next(pace) {
    const at = Math.floor(this.#read)
    if (at + 1 >= this.#written) {
      this.#playing = false
      return 0
    }
    const part = this.#read - at
    const value = (this.#ring[at % ROOM] ?? 0) * (1 - part) + (this.#ring[(at + 1) % ROOM] ?? 0) * part
    this.#read += pace
    this.#peak = Math.max(this.#peak, Math.abs(value))
    return value
  }

  /** The loudest since it was last asked, in decibels of full scale. */
  takeLevel() {
    const level = 20 * Math.log10(Math.max(this.#peak, 1e-5))
    this.#peak = 0
    return level
  }
}

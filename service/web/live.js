// The socket to the service: comes back by itself, and says when it will try next. Pure but for what it is given.

const WAITS = [1, 2, 4, 8]
export const SESSION_ENDED = 4401
/** What the service closes a socket for that it would take later. @type {Record<number, Link['why']>} */
const REFUSED = { 4429: 'tooManyPages', 1008: 'tooManyMessages' }
const LONGEST = 15

/**
 * @typedef {{
 *   open: () => WebSocket,
 *   now: () => number,
 *   later: (run: () => void, seconds: number) => unknown,
 *   cancel: (timer: any) => void,
 * }} Surroundings
 */

export class Live {
  /** @type {Link} */
  link = { state: 'connecting', why: '', nextTry: 0, heard: 0 }
  /** @type {(message: ServiceMessage) => void} */
  onMessage = () => {}
  /** @type {(samples: ArrayBuffer) => void} */
  onSound = () => {}
  /** @type {(link: Link) => void} */
  onLink = () => {}
  /** @type {WebSocket | null} */
  #socket = null
  #failures = 0
  /** @type {unknown} */
  #timer = null
  #surroundings

  /** @param {Surroundings} surroundings */
  constructor(surroundings) {
    this.#surroundings = surroundings
  }

  start() {
    if (this.#socket) return
    this.#surroundings.cancel(this.#timer)
    this.#change('connecting')
    const socket = this.#surroundings.open()
    this.#socket = socket
    socket.binaryType = 'arraybuffer'
    socket.onopen = () => this.#opened(socket)
    socket.onmessage = (event) => this.#heard(socket, event.data)
    socket.onclose = (event) => this.#closed(socket, event.code)
  }

  stop() {
    this.#surroundings.cancel(this.#timer)
    const socket = this.#socket
    this.#socket = null
    socket?.close()
    this.#change('ended')
  }

  /** Does not wait for the next try. */
  tryNow() {
    if (this.link.state === 'waiting') this.start()
  }

  /** Gives up a socket that the network has left. */
  drop() {
    const socket = this.#socket
    if (!socket) return
    socket.close()
    this.#closed(socket, 1006)
  }

  /** @param {PageMessage} message whether it went out */
  send(message) {
    if (this.link.state !== 'open') return false
    this.#socket?.send(JSON.stringify(message))
    return true
  }

  /** @param {WebSocket} socket */
  #opened(socket) {
    if (socket !== this.#socket) return
    this.#failures = 0
    this.link.heard = this.#surroundings.now()
    this.#change('open')
  }

  /** @param {WebSocket} socket @param {unknown} data */
  #heard(socket, data) {
    if (socket !== this.#socket) return
    this.link.heard = this.#surroundings.now()
    if (data instanceof ArrayBuffer) this.onSound(data)
    else if (typeof data === 'string') this.onMessage(JSON.parse(data))
  }

  /** @param {WebSocket} socket @param {number} code */
  #closed(socket, code) {
    if (socket !== this.#socket) return
    this.#socket = null
    if (code === SESSION_ENDED) return this.#change('ended')
    this.link.why = REFUSED[code] ?? ''
    const wait = (this.link.why ? 0 : WAITS[this.#failures++]) || LONGEST
    this.link.nextTry = this.#surroundings.now() + wait
    this.#timer = this.#surroundings.later(() => this.start(), wait)
    this.#change('waiting')
  }

  /** @param {Link['state']} state */
  #change(state) {
    this.link = { ...this.link, state }
    this.onLink(this.link)
  }
}

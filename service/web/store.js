// What the page knows: computers, the link, the watched computer's items, what was handed over and stopped. Elements
// follow a topic and read; only this changes it.

/** @import {Live} from './live.js' */
import { History } from './items.js'
import { refusal } from './words.js'

const SLOW_STOP = 5 // seconds
const DOUBT = 'The link was lost meanwhile, and whether it was taken cannot be told. Your text is back in the box.'

export class Store {
  /** @type {Me} */
  me = { account: null, csrf: '', firstVisit: false }
  /** @type {Map<string, Computer>} */
  computers = new Map()
  known = false
  watched = ''
  history = new History()
  caughtUp = false
  #asked = false // and nothing has come since
  /** Tasks that this page saw running. @type {Set<string>} */
  seen = new Set()
  /** @type {Map<string, Draft>} */
  drafts = new Map()
  /** @type {Map<string, Stop>} */
  stops = new Map()
  full = ''
  listening = false
  /** Computers that were handed a task when the link was lost. @type {Set<string>} */
  #doubted = new Set()
  /** @type {Map<Topic, Set<(what: any) => void>>} */
  #listeners = new Map()

  /**
   * @param {Live} live @param {() => number} now
   * @param {(task: string) => Promise<TaskDetails | null>} fetchTask
   */
  constructor(live, now, fetchTask) {
    this.live = live
    this.now = now
    this.fetchTask = fetchTask
    live.onMessage = (message) => this.#take(message)
    live.onLink = (link) => this.#linkChanged(link)
  }

  /** @param {Topic} topic @param {(what: any) => void} listener @returns {() => void} what ends it */
  on(topic, listener) {
    const listeners = this.#listeners.get(topic) ?? new Set()
    this.#listeners.set(topic, listeners.add(listener))
    return () => void listeners.delete(listener)
  }

  /** @param {Topic} topic @param {unknown} [what] */
  tell(topic, what) {
    for (const listener of this.#listeners.get(topic) ?? []) listener(what)
  }

  /** @param {Me} me */
  signIn(me) {
    this.me = me
    if (me.account) this.live.start()
    this.tell('me')
  }

  signOut() {
    this.me = { ...this.me, account: null }
    this.live.stop()
    this.computers.clear()
    this.known = false
    for (const kept of [this.drafts, this.stops, this.seen, this.#doubted]) kept.clear()
    this.listening = false
    this.tell('listening')
    this.#say('')
    this.#forget('')
    this.tell('me')
  }

  /** @param {string} computer empty for none */
  watch(computer) {
    if (computer === this.watched) return
    if (this.listening) this.listen(false)
    this.#forget(computer)
    if (computer) this.#askForItems()
    else this.live.send({ type: 'unwatch' })
  }

  /** @param {string} computer */
  #forget(computer) {
    this.watched = computer
    this.history = new History()
    this.caughtUp = false
    this.tell('scene')
  }

  #askForItems() {
    this.#asked = true
    if (this.watched) this.live.send({ type: 'watch', computer: this.watched, after: this.history.last })
  }

  get current() {
    return this.computers.get(this.watched)
  }

  /** @param {string} computer @returns {Draft} */
  draft(computer) {
    const draft = this.drafts.get(computer) ?? { text: '', handedOver: null, note: '' }
    this.drafts.set(computer, draft)
    return draft
  }

  /** @param {string} computer @param {string} text */
  handOver(computer, text) {
    const draft = this.draft(computer)
    const sent = text.trim()
    if (!sent || draft.handedOver !== null || !this.live.send({ type: 'task', computer, text: sent })) return
    Object.assign(draft, { text: sent, handedOver: sent, note: '' })
    this.tell('drafts')
  }

  /** Whether it was told to stop, and has not answered for long. @param {string} computer @returns {'' | 'told' | 'slow'} */
  stopping(computer) {
    const stop = this.stops.get(computer)
    return !stop ? '' : this.live.link.state === 'open' && this.now() - stop.at > SLOW_STOP ? 'slow' : 'told'
  }

  /** Again when nothing came of it: it may have been lost on its way. @param {string} computer */
  stop(computer) {
    if (this.stopping(computer) === 'told') return
    this.stops.set(computer, { task: this.computers.get(computer)?.lastTask?.id ?? '', at: this.now() })
    this.live.send({ type: 'cancel', computer })
    this.tell('stops')
  }

  /** @param {boolean} on */
  listen(on) {
    if (on === this.listening || !this.watched) return
    this.listening = on
    this.live.send({ type: 'listen', computer: this.watched, on })
    this.tell('listening')
  }

  /** @param {Link} link */
  #linkChanged(link) {
    if (link.state === 'open') this.#resume()
    if (link.state === 'waiting')
      for (const [computer, draft] of this.drafts) if (draft.handedOver !== null) this.#doubted.add(computer)
    if (link.state === 'ended' && this.me.account) this.signOut()
    this.tell('link')
  }

  // What the service has forgotten with the old socket.
  #resume() {
    this.caughtUp = false
    this.#askForItems()
    if (this.listening) this.live.send({ type: 'listen', computer: this.watched, on: true })
    for (const [computer, stop] of this.stops)
      if (this.computers.get(computer)?.lastTask?.id === stop.task) {
        stop.at = this.now()
        this.live.send({ type: 'cancel', computer })
      }
  }

  /** @param {ServiceMessage} message */
  #take(message) {
    if (message.type === 'computers') this.#takeAll(message.computers)
    else if (message.type === 'computer') this.#takeOne(message.computer)
    else if (message.type === 'gone') this.#lose(message.computer)
    else if (message.type === 'full') this.#say(message.message)
    else if (message.type === 'notAccepted')
      this.#returnDraft(message.computer, refusal(message.why, this.nameOf(message.computer)))
    else if (message.computer !== this.watched) return
    else if (message.type === 'items') this.#takeItems(message.items)
    else if (message.type === 'caughtUp') this.#isCaughtUp(message.number)
  }

  /** @param {string} computer */
  nameOf(computer) {
    return this.computers.get(computer)?.name ?? 'The computer'
  }

  /** @param {string} message */
  #say(message) {
    this.full = message
    this.tell('full')
  }

  /** @param {Computer[]} computers */
  #takeAll(computers) {
    this.computers = new Map(computers.map((computer) => [computer.id, computer]))
    this.known = true
    for (const computer of computers) this.#look(computer)
    this.tell('computers')
  }

  /** @param {Computer} computer */
  #takeOne(computer) {
    this.computers.set(computer.id, computer)
    this.#look(computer)
    this.tell('computers')
  }

  /** @param {string} computer */
  #lose(computer) {
    this.computers.delete(computer)
    this.tell('computers')
  }

  /** @param {Computer} computer */
  #look(computer) {
    const busy = computer.online && computer.state?.busy
    if (busy && computer.lastTask) this.seen.add(computer.lastTask.id)
    if (!busy && this.stops.delete(computer.id)) this.tell('stops')
    if (busy && computer.id !== this.watched && this.drafts.get(computer.id)?.handedOver === computer.lastTask?.text)
      this.drafts.delete(computer.id)
  }

  /** @param {Item[]} items */
  #takeItems(items) {
    const { taken, gap } = this.history.take(items)
    for (const item of taken) if (item.kind === 'user') this.#accepted(item)
    if (taken.length) this.tell('items', taken)
    if (taken.length) this.#asked = false
    if (!gap) return
    if (this.#asked) this.history = new History() // what comes next is no longer kept
    this.#askForItems()
  }

  /** @param {Item} item */
  #accepted(item) {
    const draft = this.draft(item.computer)
    const text = (item.text ?? '').replace(/^web ❯ /, '')
    const waiting = draft.handedOver ?? (draft.note && draft.text)
    if (!waiting || !(waiting === text || (item.cutFrom && waiting.startsWith(text)))) return
    Object.assign(draft, { text: '', handedOver: null, note: '' })
    this.tell('drafts')
  }

  /** @param {number} number */
  #isCaughtUp(number) {
    if (number < this.history.last) {
      this.history = new History() // an older copy was put in the place of what there was
      return this.#askForItems()
    }
    this.caughtUp = true
    if (this.#doubted.delete(this.watched)) this.#returnDraft(this.watched, DOUBT)
    void this.#completeTask()
    this.tell('scene')
  }

  // A long task began before the items that the service gives at first.
  async #completeTask() {
    const history = this.history
    const task = history.items.findLast((item) => item.task !== null)?.task
    if (!task || history.has(task)) return
    const details = await this.fetchTask(task)
    if (details && history === this.history && history.putInFront(details.items)) this.tell('scene')
  }

  /** @param {string} computer @param {string} note */
  #returnDraft(computer, note) {
    const draft = this.draft(computer)
    if (draft.handedOver === null) return
    Object.assign(draft, { text: draft.handedOver, handedOver: null, note })
    this.tell('drafts')
  }
}

// What the page makes of items: the ones that it holds, and the steps that they tell. Pure.

export const MOST_STEPS = 200

// What the steps of one task took, from what the messages tell: pictures begin a step, a script and its result divide it.
export class Steps {
  /** @type {Step[]} */
  list = []
  /** When the newest item was written. */
  newest = 0

  /** @param {Item} item whether a step has begun with it */
  add(item) {
    this.newest = Math.max(this.newest, item.time)
    if (item.step < 1) return false
    const current = this.list.at(-1)
    const begins = !current || item.step > current.number
    note(begins ? this.#begin(item) : this.list.findLast((step) => step.number === item.step), item)
    return begins
  }

  /** @param {Item} item @returns {Step} */
  #begin(item) {
    const before = this.list.at(-1)
    if (before) before.ended = item.time
    const step = {
      number: item.step,
      began: item.time,
      scriptAt: 0,
      scriptEnd: 0,
      failed: false,
      picture: null,
      ended: 0,
    }
    this.list.push(step)
    if (this.list.length > MOST_STEPS) this.list.shift()
    return step
  }

  /** @param {number} number */
  of(number) {
    return this.list.find((step) => step.number === number)
  }

  /** @returns {Item[]} */
  get pictures() {
    return this.list.flatMap((step) => step.picture ?? [])
  }

  /** The time line; the last step lasts until the given time. @param {number} until @param {boolean} runs @returns {Segment[]} */
  segments(until, runs) {
    return this.list.map((step, place) => segment(step, until, runs && place === this.list.length - 1))
  }
}

/** @param {Step | undefined} step @param {Item} item */
function note(step, item) {
  if (!step) return
  if (item.kind === 'picture') step.picture = item
  if (item.kind === 'code') step.scriptAt = item.time
  if ((item.kind === 'result' || item.kind === 'bad') && step.scriptAt && !step.scriptEnd) {
    step.scriptEnd = item.time
    step.failed = item.kind === 'bad'
  }
}

/** @param {Step} step @param {number} until @param {boolean} now @returns {Segment} */
function segment(step, until, now) {
  const end = Math.max(step.began, step.ended || until)
  const scriptAt = step.scriptAt || end
  const scriptEnd = step.scriptEnd || (now || step.ended ? end : Math.max(scriptAt, end))
  return {
    number: step.number,
    seconds: end - step.began,
    thinking: Math.max(0, scriptAt - step.began),
    running: Math.max(0, scriptEnd - scriptAt),
    failed: step.failed,
    now,
  }
}

export const MOST_ITEMS = 2000

// The items of one computer that the page holds: in order, without a gap or a double, and never more than it can show.
export class History {
  /** @type {Item[]} */
  items = []
  /** The number of the newest; -1 when the service is to begin with what is newest. */
  last = -1

  /**
   * Takes what follows; what is there already is passed over.
   * @param {Item[]} items
   * @returns {{taken: Item[], gap: boolean}} gap: one is missing, from which on nothing was taken
   */
  take(items) {
    /** @type {Item[]} */
    const taken = []
    let gap = false
    for (const item of items) {
      if (item.number <= this.last) continue
      gap = this.last >= 0 && item.number !== this.last + 1
      if (gap) break
      this.last = item.number
      taken.push(item)
    }
    this.items.push(...taken)
    this.#trim()
    return { taken, gap }
  }

  /** Puts earlier ones of a task in front. @param {Item[]} items */
  putInFront(items) {
    const first = this.items[0]?.number ?? Infinity
    const earlier = items.filter((item) => item.number < first)
    this.items.unshift(...earlier)
    this.#trim()
    return earlier.length
  }

  #trim() {
    if (this.items.length > MOST_ITEMS) this.items.splice(0, this.items.length - MOST_ITEMS)
  }

  /** Where the newest task begins, with what belongs to none before it: a call's first words. */
  get sceneStart() {
    const task = this.items.findLast((item) => item.task !== null)?.task
    if (task === undefined) return 0
    let start = this.items.findIndex((item) => item.task === task)
    while (start > 0 && this.items[start - 1]?.task === null) --start
    return start
  }

  /** @param {string} task */
  has(task) {
    return this.items.some((item) => item.task === task && (item.kind === 'user' || item.kind === 'call'))
  }
}

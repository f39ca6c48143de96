// A task as it is watched: time line, pictures and log, which show the same step.

import { h, measure, refill } from '../dom.js'
import { MOST_ITEMS, Steps } from '../items.js'
import { taskPath } from '../router.js'
import { EventLog } from './event-log.js'
import { ScreenPictures } from './screen-pictures.js'
import { TimeLine } from './time-line.js'
import { Part } from './pieces.js'

/** @typedef {{name: string, runs: boolean, away: boolean, until: number, line: string}} WatchState */

export class TaskWatch extends Part {
  steps = new Steps()
  line = new TimeLine()
  pictures = new ScreenPictures()
  log = new EventLog()
  /** The step that the reader has chosen; null for the newest. @type {number | null} */
  #chosen = null
  /** @type {WatchState} */
  #state = { name: '', runs: false, away: false, until: 0, line: '' }

  build() {
    refill(this, this.line, h('div.watch', this.pictures, this.log))
    this.line.onchoose = (step) => this.#choose(step)
    this.pictures.onchoose = (step) => this.#choose(step)
    this.log.onfollow = (follows) => this.#follow(follows)
    const sizes = new ResizeObserver(() => this.#fit())
    sizes.observe(document.body)
    this.signal.addEventListener('abort', () => sizes.disconnect())
  }

  /** @param {Item[]} items @param {TaskRecord | null} task whose page has what is not here */
  begin(items, task) {
    this.steps = new Steps()
    this.#chosen = null
    for (const item of items) this.steps.add(item)
    const whole = !task || items[0]?.kind === 'user' || items[0]?.kind === 'call'
    this.log.elsewhere = task ? taskPath(task.id) : ''
    this.log.cut = !whole
    this.log.begin(items, this.steps)
  }

  /** @param {Item[]} items */
  add(items) {
    for (const item of items) this.steps.add(item)
    this.log.add(items, MOST_ITEMS)
    this.show(this.#state)
  }

  /** @param {WatchState} state */
  show(state) {
    this.#state = state
    const { runs, until, line, away, name } = state
    const newest = this.steps.list.at(-1)?.number ?? 0
    const shown = this.#chosen ?? newest
    this.line.show(this.steps.segments(until, runs), shown, this.#chosen === null)
    this.pictures.show({ pictures: this.steps.pictures, step: this.#pictured(shown), name, runs, away })
    this.log.show({ runs, until, chosen: this.#chosen, line, quiet: !runs })
    this.find('.watch').classList.toggle('blind', this.steps.pictures.length === 0)
    this.#fit()
  }

  /** The newest step has no picture for a moment. @param {number} step */
  #pictured(step) {
    return this.#chosen === null ? (this.steps.pictures.at(-1)?.step ?? step) : step
  }

  /** @param {number} step */
  #choose(step) {
    this.#chosen = step
    this.log.setFollowing(false)
    this.log.seek(step)
    this.show(this.#state)
  }

  /** @param {boolean} follows */
  #follow(follows) {
    if (follows) this.#chosen = null
    this.log.setFollowing(follows)
    this.show(this.#state)
  }

  // On a wide page picture and log fill what the window has left.
  #fit() {
    const watch = this.find('.watch')
    const above = Math.round(watch.getBoundingClientRect().top + scrollY)
    if (above > 0) measure(watch, 'above', `${above + 24}px`)
    this.log.settle()
  }
}

customElements.define('task-watch', TaskWatch)

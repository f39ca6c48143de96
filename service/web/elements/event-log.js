// The log: of many lines only a window is in the document, which moves as the reader does. It follows the newest line
// until the reader scrolls away, and never moves what is being read.

/** @import {Steps} from '../items.js' */
import { h, refill, refillFor, say, set, setState, within } from '../dom.js'
import { clock, count, span } from '../format.js'
import { logLine } from './log-line.js'
import { Part } from './pieces.js'

const WINDOW = 400
const MOVE = 150
const NEAR_END = 8
const OUTSIDE_STEPS = ['user', 'good']

export class EventLog extends Part {
  /** Where all lines are, when they are not here. */
  elsewhere = ''
  /** Whether there are earlier ones than here. */
  cut = false
  /** @type {(follows: boolean) => void} */
  onfollow = () => {}
  /** @type {Item[]} */
  #items = []
  #from = 0
  #to = 0
  #unseen = 0
  #follows = true
  #endInSight = false
  #lastTop = 0
  #headed = 0
  /** @type {Steps | null} */
  #steps = null

  build() {
    const body = h(
      'div.log-body',
      { tabindex: '0', role: 'region', 'aria-label': 'Log of this task', onscroll: () => this.#scrolled() },
      h('div.edge.earlier'),
      h('div.lines'),
      h('p.now-line', h('i.dot'), h('span')),
      h('div.edge'),
    )
    refill(
      this,
      h(
        'section.log',
        { 'aria-label': 'Log' },
        h(
          'div.log-top',
          h('h2.label.small', 'Log'),
          h('button.btn.plain.small.follow', { onclick: () => this.onfollow(!this.#follows) }),
        ),
        body,
        h('button.btn.new-lines', { hidden: true, onclick: () => this.onfollow(true) }),
      ),
    )
    const watch = new IntersectionObserver((entries) => this.#edges(entries))
    for (const edge of this.querySelectorAll('.edge')) watch.observe(edge)
    this.signal.addEventListener('abort', () => watch.disconnect())
  }

  get #body() {
    return this.find('.log-body')
  }

  get filled() {
    return this.#items.length > 0
  }

  /** On a narrow page it is the page that scrolls. */
  get #scrollsItself() {
    return getComputedStyle(this.#body).overflowY === 'auto'
  }

  /** @param {Item[]} items @param {Steps} steps */
  begin(items, steps) {
    this.#items = items.filter((item) => item.kind !== 'picture')
    this.#steps = steps
    refillFor(this.find('.earlier'), '', () => null)
    this.#draw(Math.max(0, this.#items.length - WINDOW), this.#items.length)
    this.#unseen = 0
    this.#follows = true
    this.#toEnd()
    this.#showNew()
  }

  /** @param {Item[]} items @param {number} most how many are kept */
  add(items, most) {
    const lines = items.filter((item) => item.kind !== 'picture')
    const atEnd = this.#to === this.#items.length
    this.#items.push(...lines)
    const inSight = this.#endInSight
    const moves = this.#follows && (this.#scrollsItself || inSight)
    if (atEnd) this.#extend(moves)
    this.#forget(this.#items.length - most)
    if (!lines.length) return
    if (moves) this.#toEnd()
    else if (!inSight) this.#unseen += lines.length
    this.#showNew()
  }

  /** @param {boolean} moves whether the window moves on when it is full */
  #extend(moves) {
    const end = this.#items.length
    if (moves && end - this.#from > WINDOW) return this.#draw(end - WINDOW + MOVE, end)
    const place = this.find('.lines')
    for (const item of this.#items.slice(this.#to, this.#from + WINDOW)) this.#put(place, item)
    this.#to = Math.min(end, this.#from + WINDOW)
  }

  /** @param {number} surplus */
  #forget(surplus) {
    if (surplus <= 0) return
    this.cut = true
    this.#items.splice(0, surplus)
    const from = Math.max(0, this.#from - surplus)
    const lost = this.#from < surplus
    this.#to = Math.max(0, this.#to - surplus)
    this.#from = from
    if (lost) this.#draw(from, Math.max(this.#to, Math.min(this.#items.length, WINDOW)))
  }

  /** @param {number} from @param {number} to */
  #draw(from, to) {
    this.#from = from
    this.#to = to
    this.#headed = 0
    const place = h('div.lines')
    for (const item of this.#items.slice(from, to)) this.#put(place, item)
    this.find('.lines').replaceWith(place)
    refillFor(this.find('.earlier'), `${from > 0} ${this.cut}`, () => this.#earlier())
  }

  /** Where the log scrolls by itself they come unasked. */
  #earlier() {
    if (this.#from > 0)
      return (
        !this.#scrollsItself &&
        h('button.btn.plain', { onclick: () => this.#moveWindow(this.#from - MOVE) }, 'Earlier lines')
      )
    return (
      this.cut &&
      this.elsewhere &&
      h('p.small.quiet', 'Earlier lines are ', h('a', { href: this.elsewhere }, 'with the task'), '.')
    )
  }

  /** @param {Element} place @param {Item} item */
  #put(place, item) {
    const outside = OUTSIDE_STEPS.includes(item.kind)
    if (!outside && item.step > this.#headed) {
      this.#headed = item.step
      place.append(this.#section(item.step))
    } else if (!place.lastElementChild || outside) place.append(h('ol'))
    if (item.kind === 'user') this.#headed = 0
    const last = /** @type {Element} */ (place.lastElementChild)
    ;(last.localName === 'ol' ? last : /** @type {Element} */ (last.lastElementChild)).append(logLine(item))
  }

  /** @param {number} step */
  #section(step) {
    const head = h('div.step-head', h('h3', `Step ${step}`), h('span.num', this.#took(step, false)))
    return h('section', { 'data-step': step, 'aria-label': `Step ${step}` }, head, h('ol'))
  }

  /** @param {number} number @param {boolean} runs @param {number} [now] */
  #took(number, runs, now = 0) {
    const step = this.#steps?.of(number)
    if (!step) return ''
    const end = step.ended || now
    return clock(step.began) + (end ? ` · ${span(end - step.began)}${runs && !step.ended ? ' so far' : ''}` : '')
  }

  /** @param {{runs: boolean, until: number, chosen: number | null, line: string, quiet: boolean}} state */
  show({ runs, until, chosen, line, quiet }) {
    for (const section of /** @type {HTMLElement[]} */ ([...this.querySelectorAll('[data-step]')])) {
      const number = Number(section.dataset.step)
      say(within(section, '.num'), this.#took(number, runs, until))
      set(section, 'data-chosen', number === chosen)
    }
    this.settle()
    const now = this.find('.now-line')
    set(now, 'class', `now-line ${quiet ? 'quiet' : ''}`)
    set(now, 'hidden', !line)
    say(/** @type {Element} */ (now.lastElementChild), line)
    const button = this.find('.follow')
    set(button, 'hidden', !runs)
    setState(button, 'pressed', this.#follows)
    say(button, this.#follows ? 'Following' : 'Follow')
  }

  /** @param {boolean} follows */
  setFollowing(follows) {
    this.#follows = follows
    if (follows && this.#to < this.#items.length)
      this.#draw(Math.max(0, this.#items.length - WINDOW), this.#items.length)
    if (follows) this.#toEnd(true)
    this.#showNew()
  }

  /** Brings a step to the top, where the log scrolls by itself. @param {number} step */
  seek(step) {
    const at = this.#items.findIndex((item) => item.step === step && !OUTSIDE_STEPS.includes(item.kind))
    if (at < 0) return
    if (at < this.#from || at >= this.#to)
      this.#draw(Math.max(0, at - MOVE), Math.min(this.#items.length, at - MOVE + WINDOW))
    const section = /** @type {HTMLElement | null} */ (this.querySelector(`[data-step="${step}"]`))
    if (section && this.#scrollsItself) this.#body.scrollTop = section.offsetTop
  }

  /** Stays at the end after its size has changed. */
  settle() {
    if (this.#follows && this.#scrollsItself) this.#toEnd()
  }

  /** @param {boolean} [always] also where the page scrolls */
  #toEnd(always = false) {
    if (this.#scrollsItself) this.#body.scrollTop = this.#body.scrollHeight
    else if (always || this.#endInSight) this.#body.lastElementChild?.scrollIntoView({ block: 'end' })
    this.#unseen = 0
  }

  #scrolled() {
    const { scrollTop, scrollHeight, clientHeight } = this.#body
    const up = scrollTop < this.#lastTop
    this.#lastTop = scrollTop
    const atEnd = scrollHeight - scrollTop - clientHeight < NEAR_END && this.#to === this.#items.length
    if (up && !atEnd && this.#follows) this.onfollow(false)
    if (atEnd && !this.#follows) this.onfollow(true)
  }

  /** @param {IntersectionObserverEntry[]} entries */
  #edges(entries) {
    for (const { target, isIntersecting } of entries) {
      const top = target.matches('.earlier')
      if (!top) this.#endInSight = isIntersecting && this.#to === this.#items.length
      if (isIntersecting && (!top || this.#scrollsItself)) this.#moveWindow(this.#from + (top ? -MOVE : MOVE))
    }
    if (this.#endInSight) this.#unseen = 0
    this.#showNew()
  }

  // What is being read stays where it is.
  /** @param {number} wanted */
  #moveWindow(wanted) {
    const from = Math.max(0, Math.min(wanted, this.#items.length - WINDOW))
    if (from === this.#from || (wanted > this.#from && this.#to === this.#items.length)) return
    const scroller = this.#scrollsItself ? this.#body : document.documentElement
    const lines = [...this.querySelectorAll('[data-number]')]
    const kept = from < this.#from ? lines[0] : lines.at(-1)
    const before = kept?.getBoundingClientRect().top ?? 0
    this.#draw(from, Math.min(this.#items.length, from + WINDOW))
    const again = kept && this.querySelector(`[data-number="${kept.getAttribute('data-number')}"]`)
    if (again) scroller.scrollTop += again.getBoundingClientRect().top - before
  }

  #showNew() {
    const button = this.find('.new-lines')
    set(button, 'hidden', this.#unseen === 0)
    say(button, `${count(this.#unseen, 'new line')} below`)
  }
}

customElements.define('event-log', EventLog)

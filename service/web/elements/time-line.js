// The time line of a task: a button a step, as wide as the step was long.

import { h, keyed, measure, refill, say, set, within } from '../dom.js'
import { span } from '../format.js'
import { Part } from './pieces.js'

/** Left and Right walk buttons that stand in a row. @param {HTMLElement} row */
export function walkByArrows(row) {
  row.addEventListener('keydown', (event) => {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key]
    if (!step) return
    const buttons = [...row.querySelectorAll('button')]
    const next = buttons[buttons.indexOf(/** @type {HTMLButtonElement} */ (document.activeElement)) + step]
    if (!next) return
    event.preventDefault()
    next.focus()
    next.click()
  })
}

export class TimeLine extends Part {
  /** @type {(step: number) => void} */
  onchoose = () => {}

  build() {
    const row = h('ol')
    walkByArrows(row)
    refill(
      this,
      h(
        'section.tl',
        { 'aria-label': 'Time line' },
        row,
        h(
          'p.key',
          ...[
            ['think', 'deciding'],
            ['run', 'script running'],
            ['bad', 'script failed'],
          ].map(([look, word]) => h('span', h('i', { class: look }), word ?? '')),
        ),
      ),
    )
  }

  /** @param {Segment[]} segments @param {number} chosen @param {boolean} follow whether the newest has to be in sight */
  show(segments, chosen, follow) {
    this.hidden = segments.length === 0
    const row = this.find('ol')
    const known = row.children.length
    keyed(
      row,
      segments,
      (segment) => String(segment.number),
      ({ number }) => this.#make(number),
      (element, segment) => showSegment(element, segment, chosen),
    )
    if (follow && known !== segments.length) row.scrollLeft = row.scrollWidth
  }

  /** @param {number} number */
  #make(number) {
    return h(
      'li',
      h(
        'button',
        { onclick: () => this.onchoose(number) },
        h('span.seg', h('i.think'), h('i.run'), h('i')),
        h(
          'span.cap',
          h('b', h('span.hidden', 'Step '), String(number)),
          h('span.x', { hidden: true }, h('span', { 'aria-hidden': 'true' }, '✗'), h('span.hidden', 'script failed')),
          h('span.took'),
          h('i', '· now'),
        ),
      ),
    )
  }
}

/** @param {HTMLElement} element @param {Segment} segment @param {number} chosen */
function showSegment(element, segment, chosen) {
  measure(element, 'sec', Math.max(1, segment.seconds).toFixed(1))
  const [thinking, running, rest] = /** @type {HTMLElement[]} */ ([...element.querySelectorAll('.seg i')])
  if (!thinking || !running || !rest) return
  measure(thinking, 'n', Math.max(0.1, segment.thinking).toFixed(1))
  measure(running, 'n', Math.max(segment.running ? 0.2 : 0, segment.running).toFixed(1))
  measure(rest, 'n', Math.max(0, segment.seconds - segment.thinking - segment.running).toFixed(1))
  set(running, 'class', segment.failed ? 'bad' : 'run')
  set(within(element, '.cap i'), 'hidden', !segment.now)
  set(within(element, '.x'), 'hidden', !segment.failed)
  say(within(element, '.took'), span(segment.seconds))
  set(/** @type {Element} */ (element.firstElementChild), 'aria-current', segment.number === chosen && 'step')
}

customElements.define('time-line', TimeLine)

// One line of the log, in the form of its kind.

import { h, say, setState } from '../dom.js'
import { clock, count, size } from '../format.js'
import { readLine } from '../words.js'
import { copyButton } from './pieces.js'

// A text that is hardly longer than what would be shown is shown whole.
const SHOWN_LINES = { code: 4, result: 12, bad: 12 }
const HARDLY = 1
const SHOWN_LETTERS = 4000

/** @param {Item} item */
export function logLine(item) {
  const { word, lead, text } = readLine(item)
  const inside = item.kind === 'code' ? script(text, item.step) : folded(text, item.kind)
  return h(
    'li',
    { class: `ev ev-${item.kind}`, 'data-number': item.number },
    h('span.ev-kind', word),
    h('time', clock(item.time)),
    h(
      'div.ev-text',
      lead && h('span.hidden', lead),
      inside,
      item.cutFrom ? h('p.small.quiet', `Shortened: it was ${size(item.cutFrom)}.`) : null,
    ),
  )
}

/** A text that begins short: what is always shown, what can be, and how many lines there are. @param {string} text @param {number} most */
function parts(text, most) {
  const lines = text.replace(/\n+$/, '').split('\n')
  const long = lines.length > most + HARDLY || text.length > SHOWN_LETTERS
  const first = long ? lines.slice(0, most).join('\n').slice(0, SHOWN_LETTERS) : text
  return { first, rest: text.slice(first.length), lines: lines.length, long }
}

/** @param {HTMLElement} rest @param {number} lines */
function unfold(rest, lines) {
  const words = () => (rest.hidden ? `Show all ${lines > 1 ? count(lines, 'line') : 'of it'}` : 'Show less')
  const button = h(
    'button.btn.plain',
    {
      'aria-expanded': 'false',
      onclick: () => {
        rest.hidden = !rest.hidden
        setState(button, 'expanded', !rest.hidden)
        say(button, words())
      },
    },
    words(),
  )
  return button
}

/** @param {string} text @param {string} kind */
function folded(text, kind) {
  const most = /** @type {Record<string, number>} */ (SHOWN_LINES)[kind]
  const { first, rest, lines, long } = parts(text, most ?? Infinity)
  if (!long || !most) return text
  const more = h('span', { hidden: true }, rest)
  return [first, more, h('div.more', unfold(more, lines))]
}

/** @param {string} text @param {number} step */
function script(text, step) {
  const { first, rest, lines, long } = parts(text, SHOWN_LINES.code)
  const more = h('span', { hidden: true }, rest)
  return h(
    'div',
    { class: long ? 'script' : 'script short' },
    h('pre', { tabindex: '0', role: 'region', 'aria-label': `Script of step ${step}` }, first, more),
    h('div.more', long && unfold(more, lines), copyButton(text)),
  )
}

// What the elements share: how they follow the store, and small forms.

import { h, refill, say, set } from '../dom.js'
import { clock, count, pieces, shortDay, span, when } from '../format.js'
import { icon } from '../icons.js'
import { taskPath } from '../router.js'
import { announce, store } from '../session.js'
import { answerOf, outcomeWord } from '../words.js'

// An element of the page: it follows topics of the store while it is in the document.
export class Part extends HTMLElement {
  /** @type {(() => void)[]} */
  #ends = []
  #gone = new AbortController()

  /** Ends with the element: for requests and listeners elsewhere. */
  get signal() {
    return this.#gone.signal
  }

  connectedCallback() {
    this.#gone = new AbortController()
    this.build()
  }

  disconnectedCallback() {
    this.#gone.abort()
    for (const end of this.#ends.splice(0)) end()
  }

  build() {}

  /** @param {(what: any) => void} listener @param {...Topic} topics */
  follow(listener, ...topics) {
    this.#ends.push(...topics.map((topic) => store.on(topic, listener)))
  }

  /** @template {HTMLElement} [T=HTMLElement] @param {string} selector @returns {T} */
  find(selector) {
    return /** @type {T} */ (this.querySelector(selector))
  }
}

/** @param {Word} word */
export function stateMark(word) {
  const mark = h('span', h('i.dot'), h('span'))
  showState(mark, word)
  return mark
}

/** @param {HTMLElement} mark @param {Word} word */
export function showState(mark, { word, tone, live }) {
  set(mark, 'class', `state ${tone}${live ? ' live' : ''}`)
  say(/** @type {Element} */ (mark.lastElementChild), word)
}

/** What a button to stop a computer says, and whether it does something. @param {HTMLElement} button @param {string} computer */
export function showStop(button, computer) {
  const stopping = store.stopping(computer)
  set(button, 'aria-disabled', stopping === 'told' && 'true')
  const told = store.live.link.state === 'open' ? 'Stopping…' : 'Stops when the link is back'
  say(/** @type {Element} */ (button.lastElementChild), { '': 'Stop', told, slow: 'Stop again' }[stopping])
}

/** @param {string} text */
export function copyButton(text) {
  const copy = async () => {
    const done = await navigator.clipboard?.writeText(text).then(
      () => true,
      () => false,
    )
    const words = done ? 'Copied' : 'Select it and press Ctrl+C'
    say(/** @type {Element} */ (button.lastElementChild), words)
    announce(words)
  }
  const button = h('button.btn.plain', { onclick: () => void copy() }, icon('copy'), h('span', 'Copy'))
  return button
}

// Where a computer asks by itself; elsewhere its panel does not lead here.
const USUAL = location.host === 'localhost:8787'
export const signInHow = USUAL
  ? 'click the phone icon and choose “Sign in with Google”, or run this in a terminal'
  : 'run this in a terminal'
export function signInCommand() {
  const command = `ombru sign-in${USUAL ? '' : ` --server ${location.origin}`}`
  return h(
    'div.script.short.command',
    h('pre', command),
    h('div.more', copyButton(command)),
  )
}

const NOTE_ICONS = { wait: 'warning', halt: 'warning', go: 'check', '': 'info' }

/** @param {'wait' | 'halt' | 'go' | ''} tone @param {Child} text @param {Child} [more] @param {string} [picture] */
export const note = (tone, text, more, picture) =>
  h('div', { class: `note ${tone}`, role: tone === 'halt' && 'alert' }, icon(picture ?? NOTE_ICONS[tone]), text, more)

/** @param {string} heading @param {string} text @param {Child} [more] */
export const trouble = (heading, text, more) => note('halt', h('p', h('strong', heading), ` ${text}`), more)

/** What is written or chosen, with its label and its help. @param {string} label @param {HTMLElement} input @param {string} [help] */
export function field(label, input, help) {
  const named = h('label', { for: input.id }, label)
  if (help === undefined) return h('div.field', named, input)
  set(input, 'aria-describedby', `${input.id}-help`)
  return h('div.field', named, input, h('p.help', { id: `${input.id}-help` }, help))
}

/** @param {string} heading @param {string} text @param {...Child} more */
export const empty = (heading, text, ...more) => h('div.empty', h('h2', heading), h('p', text), more)

/** Grey bars in the form of what comes; the style sheet lets them wait. */
export const bones = () =>
  h(
    'div.card.pad.bones',
    { 'aria-busy': 'true' },
    h('p.hidden', 'Loading'),
    h('i'),
    h('i'),
    h('i'),
    h('p.late.small.quiet', 'This takes longer than usual.'),
  )

/** @param {Refusal} refusal @param {() => void} again */
export const failed = (refusal, again) =>
  note(
    'halt',
    h('p', h('strong', 'That could not be loaded.'), ` ${refusal.message}`),
    h('button.btn', { onclick: again }, 'Try again'),
  )

/** @param {string} text @param {string} search @returns {Child} */
export const marked = (text, search) =>
  pieces(text, search).map((piece, place) => (place % 2 ? h('mark', piece) : piece))

/** @param {TaskRecord} task @param {string} search */
function summary(task, search) {
  if (task.match)
    return [
      `In ${task.match.kind === 'code' ? 'the script' : 'the log'} of step ${task.match.step}: `,
      marked(task.match.text, search),
    ]
  const steps = task.steps && !/in step|after/.test(answerOf(task)) ? count(task.steps, 'step') : ''
  return marked([answerOf(task), steps].filter(Boolean).join(' · '), search)
}

/** One past task, as a row. @param {TaskRecord} task @param {string} time @param {string} [search] */
export function taskRow(task, time, search = '') {
  const { icon: picture, tone, word } = outcomeWord(task)
  return h(
    'li',
    icon(picture, tone),
    h('a', { href: taskPath(task.id) }, h('span.hidden', `${word}: `), marked(task.text, search)),
    h('time', time),
    h('p.sum', summary(task, search)),
  )
}

/** @param {TaskRecord} task @param {number} now */
export const latestRow = (task, now) => taskRow(task, shortDay(task.began, now))

/** A button that is asked once more, in its own place. @param {string} label @param {string} sure @param {() => void} act */
export function askTwice(label, sure, act) {
  const place = h('div.acts')
  const first = () => refill(place, h('button.btn.danger', { onclick: second }, label))
  const second = () => {
    refill(place, h('button.btn.danger', { onclick: act }, sure), h('button.btn', { onclick: back }, 'Keep it'))
    place.querySelector('button')?.focus()
  }
  const back = () => {
    first()
    place.querySelector('button')?.focus()
  }
  first()
  return place
}

// What stands above the time line of one computer.

/** @param {Computer} computer @param {number} began */
export function callBand({ name, state }, began) {
  if (!state?.calls.length) return null
  const sharing = state.sharing ? `${name}’s sound is shared into the call` : 'sound is not shared'
  return h(
    'section.callband',
    { 'aria-labelledby': 'call-heading' },
    h('h2', { id: 'call-heading' }, icon('phone'), `On a call with ${state.calls.join(' and ')}`),
    h('p.num', [began && `since ${clock(began)}`, sharing].filter(Boolean).join(' · ')),
    h(
      'p',
      state.busy
        ? `Stop ends the task. The call goes on until the caller hangs up, or until “Hang up” on ${name}.`
        : `It goes on until the caller hangs up, or until “Hang up” on ${name}.`,
    ),
  )
}

/** @param {Computer} computer */
export function awayNote({ name, since, state, lastTask }) {
  const known = `${name} has been away since ${when(since ?? 0, store.now())}${since ? clock(since).slice(5) : ''}.`
  const lost = state ? state.busy && state : lastTask?.outcome === 'unknown' && { step: lastTask.steps }
  const task = lost && ` It was in step ${lost.step || 1} of a task. Whether it goes on there cannot be told from here.`
  return note(
    'wait',
    h(
      'div',
      h('p', h('strong', known), task),
      h(
        'p.small',
        'This page catches up by itself when it is back.',
        task && [
          ' Until then Stop does not reach it. On the computer itself ',
          h('code', 'ombru stop'),
          ' does, and Ctrl+Shift+Escape where its panel runs on X11.',
        ],
      ),
    ),
    null,
    'away',
  )
}

/** @param {TaskRecord} task @param {(text: string) => void} write */
export function answerCard(task, write) {
  const { word, tone, icon: picture } = outcomeWord(task)
  const said = {
    stopped: 'Okay, stopped.',
    failed: 'Sorry, something went wrong on the computer.',
    unfinished: 'I ran out of steps before finishing. Tell me how to continue.',
  }[/** @type {string} */ (task.outcome)]
  const steps = task.steps ? count(task.steps, 'step') : ''
  const facts = [
    task.text,
    steps,
    span((task.ended ?? task.began) - task.began),
    `ended ${clock(task.ended ?? task.began)}`,
  ]
  return h(
    'section',
    { class: `answer ${tone}`, 'aria-label': word },
    h('p', { class: `state ${tone}` }, icon(picture), word),
    h('p.said', said ?? answerOf(task)),
    task.outcome === 'failed' && task.answer && h('p.small.mono', task.answer),
    task.outcome === 'stopped' &&
      task.steps > 1 &&
      h('p.small', `It was in step ${task.steps}. What was done before is still done.`),
    h('p.small.num', facts.filter(Boolean).join(' · ')),
    task.outcome === 'unfinished' &&
      h('div.acts', h('button.btn.main', { onclick: () => write('Go on.') }, 'Continue')),
  )
}

/** @param {Computer} computer */
export const computerFacts = ({ since }) =>
  since !== null && h('dl.facts.small', h('dt', 'Connected'), h('dd', `since ${when(since, store.now())}`))

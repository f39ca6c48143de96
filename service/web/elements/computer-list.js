// All computers of the account, each a card with its live state.

import { h, keyed, refill, refillFor, say, set } from '../dom.js'
import { minutes, shortDay, when } from '../format.js'
import { icon } from '../icons.js'
import { computerPath } from '../router.js'
import { store } from '../session.js'
import { outcomeWord, stateWord } from '../words.js'
import { Part, bones, empty, showState, showStop, signInCommand, signInHow, stateMark } from './pieces.js'

class ComputerList extends Part {
  build() {
    refill(
      this,
      h('div.spread', h('h1', 'Computers'), h('a.btn.add', { href: '/verify' }, 'Add a computer')),
      h('div.rest'),
      h('ul.computers'),
      h('section.past.stack.tight'),
    )
    this.follow(() => this.show(), 'computers', 'stops', 'tick')
    this.show()
  }

  show() {
    const all = [...store.computers.values()]
    const list = all.filter((computer) => !computer.revoked)
    const state = !store.known ? 'loading' : list.length ? 'some' : 'none'
    set(this.find('.add'), 'hidden', state !== 'some')
    refillFor(this.find('.rest'), state, () => (state === 'loading' ? bones() : state === 'none' && noComputer()))
    keyed(this.find('.computers'), list, (computer) => computer.id, card, showCard)
    const past = all.filter((computer) => computer.revoked && computer.lastTask)
    refillFor(
      this.find('.past'),
      past.map(({ id, lastTask }) => `${id} ${lastTask?.id}`).join(),
      () => past.length > 0 && [h('h2.day', 'Signed out'), h('ul.rows.card', past.map(pastRow))],
    )
  }
}

const noComputer = () =>
  empty(
    'No computer yet',
    `On the computer: install ombru, then ${signInHow}. It opens this page with a code to allow.`,
    signInCommand(),
    h('a.btn.main', { href: '/verify' }, 'I have a code'),
  )

/** One that was signed out, with its past tasks. @param {Computer} computer */
const pastRow = (computer) =>
  h(
    'li',
    icon('away', 'rest'),
    h('a', { href: computerPath(computer.id, 'tasks') }, computer.name),
    computer.since !== null && h('time', shortDay(computer.since, store.now())),
    h('p.sum', whatItDoes(computer)),
  )

/** @param {Computer} computer */
function card(computer) {
  const made = h(
    'li.card.comp',
    h('div.thumb'),
    h('h2', h('a', { href: computerPath(computer.id) })),
    stateMark({ word: '', tone: 'rest' }),
    h('p.what'),
    h('button.btn.danger', { onclick: () => store.stop(computer.id) }, icon('STOP'), h('span')),
  )
  return made
}

/** @param {HTMLElement} element @param {Computer} computer */
function showCard(element, computer) {
  const part = (/** @type {string} */ selector) => /** @type {HTMLElement} */ (element.querySelector(selector))
  say(part('h2 a'), computer.name)
  const word = stateWord(computer)
  const step = computer.state?.step
  const more =
    word.word === 'Working' && step
      ? ` · step ${step}`
      : word.word === 'Away' && computer.since
        ? ` since ${when(computer.since, store.now())}`
        : ''
  showState(part('.state'), { ...word, word: word.word + more })
  say(part('.what'), whatItDoes(computer))
  part('.thumb').classList.toggle('faded', !computer.online)
  refillFor(part('.thumb'), computer.picture?.url ?? '', () =>
    computer.picture ? h('img', { src: computer.picture.url, alt: '', loading: 'lazy' }) : icon('computer'),
  )
  const stop = part('.btn')
  set(stop, 'hidden', !computer.online || !computer.state?.busy)
  set(stop, 'aria-label', `Stop the task on ${computer.name}`)
  showStop(stop, computer.id)
}

/** @param {Computer} computer */
function whatItDoes(computer) {
  const { state, lastTask: task } = computer
  if (computer.online && state?.calls.length)
    return [`With ${state.calls.join(', ')}`, state.busy && task && `“${task.text}”`].filter(Boolean).join(' · ')
  if (computer.online && state?.busy) return task ? `“${task.text}”` : state.status
  if (task)
    return `Last: “${task.text}” · ${ending(task.outcome === 'running' ? 'working' : outcomeWord(task).word.toLowerCase(), task.ended)}`
  if (computer.since === null)
    return `Signed in ${minutes(store.now() - computer.signedIn)} ago; it has not connected yet`
  return 'Nothing handed over yet'
}

/** @param {string} word @param {number | null} ended */
const ending = (word, ended) => (ended ? `${word} ${when(ended, store.now())}` : word)

customElements.define('computer-list', ComputerList)

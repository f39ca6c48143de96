// The bar of one computer: its name and state, the tabs, Listen, and Stop, which is always at the same place.

import { h, refill, say, set, setState } from '../dom.js'
import { icon } from '../icons.js'
import { computerPath } from '../router.js'
import { onRoute, announce, route, store } from '../session.js'
import { stateWord } from '../words.js'
import { Part, showState, showStop, stateMark } from './pieces.js'

export class ComputerBar extends Part {
  #word = ''

  build() {
    this.mark = stateMark({ word: '', tone: 'rest' })
    refill(
      this,
      h(
        'section.bar',
        h(
          'div.bar-in',
          h('div.bar-who', h('h1'), this.mark),
          h('nav.tabs', { 'aria-label': 'Views' }, tab('Now', ''), tab('Tasks', 'tasks'), tab('Settings', 'settings')),
          h(
            'div.bar-act',
            h(
              'button.btn.listen-button',
              { 'aria-pressed': 'false', onclick: () => store.listen(!store.listening) },
              icon('listen'),
              'Listen',
            ),
            h(
              'div.dock',
              h('p.count', h('span', 'Step'), h('b')),
              h(
                'button.btn.stop',
                { 'aria-keyshortcuts': 'Control+Period', onclick: () => store.stop(store.watched) },
                icon('STOP'),
                h('span', 'Stop'),
              ),
            ),
          ),
        ),
      ),
    )
    this.follow(() => this.show(), 'computers', 'stops', 'listening', 'scene', 'tick', 'me')
    onRoute(() => this.show())
    this.show()
  }

  show() {
    const computer = store.me.account && store.current
    this.hidden = !computer
    document.body.classList.toggle('has-dock', Boolean(computer && computer.online && computer.state?.busy))
    if (!computer) return
    set(this.find('.bar'), 'aria-label', `${computer.name}, state and controls`)
    say(this.find('h1'), computer.name)
    const word = stateWord(computer)
    if (this.#word && this.#word !== word.word) announce(`${computer.name}: ${word.word}`)
    this.#word = word.word
    if (this.mark) showState(this.mark, word)
    this.showTabs()
    const listen = this.find('.listen-button')
    set(listen, 'hidden', !computer.online && !store.listening)
    setState(listen, 'pressed', store.listening)
    this.showDock()
  }

  showTabs() {
    const here = route().view === 'task' ? 'tasks' : route().view
    for (const link of this.querySelectorAll('a')) {
      const name = link.dataset.tab ?? ''
      set(link, 'href', computerPath(store.watched, /** @type {'' | 'tasks' | 'settings'} */ (name)))
      set(link, 'aria-current', here === (name || 'now') && 'page')
    }
  }

  showDock() {
    const computer = store.current
    set(this.find('.dock'), 'hidden', !computer?.online || !computer.state?.busy)
    say(this.find('.count b'), String(computer?.state?.step || '–'))
    showStop(this.find('.stop'), store.watched)
    const slow = store.stopping(store.watched) === 'slow'
    set(this.find('.count b'), 'hidden', slow)
    say(this.find('.count span'), slow ? `${computer?.name} has not answered` : 'Step')
  }
}

/** @param {string} word @param {string} name */
const tab = (word, name) => h('a', { 'data-tab': name }, word)

customElements.define('computer-bar', ComputerBar)

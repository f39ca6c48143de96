// The frame of every view: notices, the bar of a computer, and the view itself, below the top line, which stands in the
// document, so that something is there before the modules are.

import { ask } from '../api.js'
import { h, refill, refillFor, set } from '../dom.js'
import { clock } from '../format.js'
import { icon } from '../icons.js'
import { lostLink } from '../words.js'
import { announce, go, onRoute, recognise, route, store } from '../session.js'
import { ComputerBar } from './computer-bar.js'
import '../sound/player.js'
import './computer-list.js'
import './computer-settings.js'
import './now-view.js'
import './sign-in.js'
import './task-list.js'
import './task-view.js'
import './verify-code.js'
import { Part, empty, failed, note, trouble } from './pieces.js'

/** @type {Record<string, string>} */
const VIEWS = {
  computers: 'computer-list',
  now: 'now-view',
  tasks: 'task-list',
  settings: 'computer-settings',
  task: 'task-view',
  verify: 'verify-code',
}

/** @type {Record<string, string>} */
const TITLES = { computers: 'Computers', tasks: 'Tasks', settings: 'Settings', task: 'Task', verify: 'Verify' }

class PageFrame extends Part {
  /** Why signing out did not work. */
  #stays = ''

  build() {
    refill(
      this,
      h('a.skip', { href: '#main' }, 'Skip to the content'),
      this.find('.top'),
      h('div.notices'),
      new ComputerBar(),
      h('main', { id: 'main', tabindex: '-1' }),
      h('p.hidden', { role: 'status' }),
    )
    this.follow(() => this.show(), 'me')
    this.follow(() => this.showNotices(), 'link')
    this.follow(() => this.showNotices(), 'tick')
    this.follow(() => this.showNotices(), 'full')
    onRoute(() => this.show(true))
    addEventListener('keydown', (event) => stopByKey(event), { signal: this.signal })
    void this.begin()
  }

  async begin() {
    if (await recognise()) return
    refill(
      this.find('main'),
      failed({ status: 0, error: '', message: 'The service does not answer.' }, () => void this.begin()),
    )
  }

  get view() {
    if (store.me.account) return VIEWS[route().view] ?? 'nothing'
    return store.me.firstVisit ? 'first-visit' : 'sign-in'
  }

  /** @param {boolean} [moved] */
  show(moved = false) {
    this.showAccount()
    const gate = !store.me.account || this.view === 'verify-code'
    const computer = gate ? '' : ['now', 'tasks', 'settings'].includes(route().view) ? route().id : ''
    if (route().view !== 'task' || gate) store.watch(computer)
    const main = this.find('main')
    set(main, 'class', gate ? 'gate' : 'stack')
    refillFor(/** @type {HTMLElement} */ (main), `${this.view} ${route().id}`, () => make(this.view))
    document.title = title(this.view)
    this.showNotices()
    if (!moved) return
    scrollTo(0, 0)
    announce(document.title)
    if (!main.contains(document.activeElement)) /** @type {HTMLElement} */ (main).focus({ preventScroll: true })
  }

  showAccount() {
    const email = store.me.account?.email ?? ''
    refillFor(
      this.find('.who'),
      email,
      () =>
        email && [
          h(
            'details.menu',
            h('summary', icon('person'), h('span', email)),
            h('button.btn', { onclick: () => void this.signOut() }, 'Sign out'),
          ),
        ],
    )
  }

  // Who has signed out goes away from this computer: it has to be true.
  async signOut() {
    const { refusal } = await ask('POST', '/api/sign-out', {})
    this.#stays = refusal?.message ?? ''
    if (refusal && store.me.account) return this.showNotices()
    if (store.me.account) store.signOut()
    void recognise()
    go('/')
  }

  showNotices() {
    const { link } = store.live
    const lost = store.me.account && link.state === 'waiting'
    if (!store.me.account) this.#stays = ''
    refillFor(this.find('.notices'), `${lost} ${link.why} ${this.#stays} ${store.full}`, () => [
      this.#stays && trouble('You are still signed in.', this.#stays, again('Sign out', () => this.signOut())),
      lost && linkNote(),
      store.full && trouble('The service’s disk is full.', store.full),
    ])
    const seconds = this.find('.next-try')
    if (seconds) seconds.textContent = `${Math.max(0, Math.ceil(link.nextTry - store.now()))} s`
  }
}

function linkNote() {
  const { heard, why } = store.live.link
  const words = lostLink(why)
  announce(words)
  return note(
    'wait',
    h(
      'p',
      h('strong', words),
      ' Trying again in ',
      h('span.next-try.num'),
      '.',
      heard ? ` What you see is from ${clock(heard)}.` : '',
    ),
    again('Now', () => store.live.tryNow()),
    'away',
  )
}

/** @param {string} words @param {() => unknown} act */
const again = (words, act) => h('button.btn', { onclick: act }, words)

/** @param {string} view */
function make(view) {
  if (view === 'nothing')
    return empty(
      'There is nothing at this address',
      'It may have been deleted.',
      h('a.btn.main', { href: '/' }, 'All computers'),
    )
  return document.createElement(view)
}

/** @param {string} view */
function title(view) {
  const words = { 'sign-in': 'Sign in', 'first-visit': 'Set up' }[view] ?? TITLES[route().view]
  const name = store.computers.get(route().id)?.name
  return [words, name, 'ombru'].filter(Boolean).join(' · ')
}

/** @param {KeyboardEvent} event */
function stopByKey(event) {
  if (event.key !== '.' || !(event.ctrlKey || event.metaKey) || !store.current?.online || !store.current.state?.busy) return
  event.preventDefault()
  store.stop(store.watched)
}

customElements.define('page-frame', PageFrame)

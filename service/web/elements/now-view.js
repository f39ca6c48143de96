// One computer now: what it should do, what it does, or what it did.

import { get } from '../api.js'
import { h, refill, refillFor, say } from '../dom.js'
import { clock, span } from '../format.js'
import { MOST_ITEMS } from '../items.js'
import { computerPath } from '../router.js'
import { announce, store } from '../session.js'
import { fromWord, sceneOf, spoken } from '../words.js'
import { SoundPanel } from './sound-panel.js'
import { Part, answerCard, awayNote, bones, callBand, computerFacts, empty, latestRow, note } from './pieces.js'
import { TaskBox } from './task-box.js'
import { TaskWatch } from './task-watch.js'

class NowView extends Part {
  watch = new TaskWatch()
  /** @type {Item[]} */
  #coming = []
  #shownTask = ''
  #latestFor = ''

  build() {
    refill(this, h('div.sound'), h('div.call'), h('div.head'), this.watch)
    this.follow(() => this.show(), 'computers', 'tick', 'listening', 'drafts')
    this.follow(() => this.restart(), 'scene')
    this.follow((items) => this.add(items), 'items')
    this.restart()
  }

  get task() {
    return store.current?.lastTask ?? null
  }

  get scene() {
    const computer = store.current
    if (!computer) return store.known ? 'unknown' : 'loading'
    return sceneOf(computer, store.now(), store.seen.has(this.task?.id ?? ''))
  }

  restart() {
    this.#coming = []
    const { history } = store
    const items = history.items.slice(history.sceneStart)
    this.#shownTask = items.findLast((item) => item.task !== null)?.task ?? ''
    this.watch.begin(items, this.task)
    this.show()
  }

  // Whatever comes between two frames is shown at once.
  /** @param {Item[]} items */
  add(items) {
    const first = this.#coming.length === 0
    this.#coming = [...this.#coming, ...items].slice(-MOST_ITEMS)
    if (!first) return
    if (document.hidden) setTimeout(() => this.showComing(), 1000)
    else requestAnimationFrame(() => this.showComing())
  }

  showComing() {
    const items = this.#coming.splice(0)
    if (!items.length || !this.isConnected) return
    if (store.caughtUp) announce(items.map(spoken).findLast(Boolean) ?? '')
    const other = items.some((item) => item.task !== null && item.task !== this.#shownTask)
    if (other) return this.restart()
    this.watch.add(items)
    this.show()
  }

  show() {
    const { scene } = this
    const computer = store.current
    document.title = [
      computer && { busy: 'Working', call: 'On a call', away: 'Away' }[/** @type {string} */ (scene)],
      computer?.name,
      'ombru',
    ]
      .filter(Boolean)
      .join(' · ')
    refillFor(this.find('.sound'), String(store.listening), () => store.listening && new SoundPanel())
    refillFor(this.find('.call'), callKey(computer), () => computer && callBand(computer, callBegan()))
    this.showHead(scene, computer)
    const watched = ['busy', 'call', 'away', 'finished'].includes(scene) && this.watch.log.filled
    this.watch.hidden = !watched
    if (computer && watched) this.watch.show(this.watchState(scene, computer))
  }

  /** @param {string} scene @param {Computer | undefined} computer */
  showHead(scene, computer) {
    const draft = store.draft(store.watched)
    const writing = this.querySelector('task-box')?.contains(document.activeElement)
    const box =
      scene !== 'busy' || draft.note !== '' || (draft.handedOver === null && (draft.text !== '' || writing === true))
    const task = this.task
    const key = [
      scene,
      computer?.id,
      scene === 'idle' ? '' : task?.id,
      task?.outcome,
      box,
      scene === 'away' && computer?.since,
    ].join()
    refillFor(this.find('.head'), key, () => {
      this.#latestFor = ''
      return this.head(scene, computer, box)
    })
    const took = this.find('.head .elapsed')
    if (took && task) say(took, span((task.ended ?? store.now()) - task.began))
    if (scene === 'idle') this.showLatest()
  }

  /** @param {string} scene @param {Computer | undefined} computer @param {boolean} box */
  head(scene, computer, box) {
    if (!computer)
      return scene === 'loading'
        ? bones()
        : empty(
            'This computer is not there any more',
            'It was signed out, or its address is wrong.',
            h('a.btn.main', { href: '/' }, 'All computers'),
          )
    const task = this.task
    const low =
      box &&
      taskBox({
        heading: scene === 'finished' ? 'And now?' : `What should ${computer.name} do?`,
        placeholder: scene === 'finished' ? 'A follow-up, or something new' : EXAMPLE,
        low: true,
        ...(scene === 'finished' && { help: 'A follow-up knows what was done before.' }),
      })
    if (scene === 'busy') return [low, task && job(task)]
    if (scene === 'call') return low
    if (scene === 'finished') return h('div.two-up.stack', task && answerCard(task, (text) => this.write(text)), low)
    if (scene === 'away')
      return [
        h('div.two-up.stack.upper', awayNote(computer), low),
        this.watch.log.filled && h('h2', `As it was at ${clock(computer.since ?? 0)}`),
      ]
    if (scene === 'new')
      return empty(
        `${computer.name} has not connected yet`,
        'It was signed in; as soon as ombru runs there and reaches this service, it can be handed a task here.',
      )
    if (scene === 'revoked')
      return note(
        'wait',
        h('p', h('strong', `${computer.name} was signed out here.`), ' Its past tasks stay until you delete them.'),
        h('a.btn', { href: computerPath(computer.id, 'tasks') }, 'Past tasks'),
      )
    return this.idle(computer)
  }

  /** @param {Computer} computer */
  idle(computer) {
    return h(
      'div.idle.stack',
      h(
        'div.stack',
        taskBox({ heading: `What should ${computer.name} do?`, placeholder: EXAMPLE, low: false }),
        h('div.again'),
      ),
      h('aside.stack', { 'aria-label': 'Latest' }, h('div.lately'), h('div.latest'), computerFacts(computer)),
    )
  }

  async showLatest() {
    const last = `${store.watched} ${this.task?.id} ${this.task?.outcome}`
    if (this.#latestFor === last) return this.showTrouble()
    this.#latestFor = last
    const path = `/api/computers/${encodeURIComponent(store.watched)}/tasks?limit=4`
    /** @type {TaskRecord[]} */
    const tasks = (await get(path, this.signal)).value?.tasks ?? []
    const place = this.querySelector('.latest')
    if (!place) return void (this.#latestFor = '')
    refill(place, latestCard(tasks, computerPath(store.watched, 'tasks')))
    refill(
      this.find('.again'),
      againChips(tasks, (text) => this.write(text)),
    )
  }

  /** What went wrong outside of tasks, and lately. */
  showTrouble() {
    const since = Math.max(this.task?.ended ?? 0, store.now() - LATELY)
    const item = store.history.items.findLast((one) => one.task === null && ['bad', 'warn'].includes(one.kind))
    const late = item && item.time > since
    refillFor(
      this.find('.lately'),
      late ? String(item.number) : '',
      () => late && note('wait', h('p.small', h('span.num', `${clock(item.time)} `), item.text ?? '')),
    )
  }

  /** @param {string} text */
  write(text) {
    const box = this.querySelector('task-box')
    if (box instanceof TaskBox) box.write(text)
  }

  /** @param {string} scene @param {Computer} computer */
  watchState(scene, computer) {
    const runs = scene === 'busy'
    const away = scene === 'away'
    const ended = this.task?.id === this.#shownTask ? this.task.ended : null
    const until = runs ? store.now() : (ended ?? this.watch.steps.newest)
    const line = runs ? (computer.state?.status ?? '') : away ? `nothing since ${clock(computer.since ?? 0)}` : ''
    return { name: computer.name, runs, away, until, line }
  }
}

const LATELY = 600
const EXAMPLE = 'For example: sort the invoices in Downloads by month'

/** @param {TaskBox['looks']} looks */
function taskBox(looks) {
  const box = new TaskBox()
  box.looks = looks
  return box
}

const callBegan = () =>
  store.history.items.findLast((item) => item.kind === 'call' && / connected$/.test(item.text ?? ''))?.time ?? 0

/** @param {Computer | undefined} computer */
const callKey = (computer) =>
  computer?.online && computer.state?.calls.length
    ? JSON.stringify([computer.state.calls, computer.state.sharing, computer.state.busy, callBegan()])
    : ''

/** @param {TaskRecord} task */
const job = (task) =>
  h(
    'section.job',
    h('h2', task.text),
    h('p.meta.num', h('span', fromWord(task)), h('span', `Began ${clock(task.began)}`), h('span.elapsed')),
  )

/** @param {TaskRecord[]} tasks @param {string} path */
const latestCard = (tasks, path) =>
  tasks.length > 0 &&
  h(
    'section.card',
    h('h2.label', 'Latest tasks'),
    h(
      'ul.rows',
      tasks.map((task) => latestRow(task, store.now())),
    ),
    h('p.line-top', h('a.btn.plain', { href: path }, 'All tasks')),
  )

/** @param {TaskRecord[]} tasks @param {(text: string) => void} write */
function againChips(tasks, write) {
  const texts = [...new Set(tasks.map((task) => task.text))].slice(0, 3)
  return (
    texts.length > 0 && [
      h('span.small.quiet', 'Again:'),
      texts.map((text) => h('button.chip', { onclick: () => write(text) }, text)),
    ]
  )
}

customElements.define('now-view', NowView)

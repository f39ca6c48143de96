// Past tasks of one computer, by day, which can be searched.

import { get } from '../api.js'
import { h, refill, refillFor, setState } from '../dom.js'
import { count, day, minute } from '../format.js'
import { store } from '../session.js'
import { Part, bones, empty, failed, taskRow } from './pieces.js'

const PAUSE = 250
const PAGE = 50

/** @type {[string, Outcome[]][]} */
const FILTERS = [
  ['All', []],
  ['Done', ['done', 'answered']],
  ['Not finished', ['unfinished', 'unknown']],
  ['Stopped', ['stopped']],
  ['Failed', ['failed']],
]

class TaskList extends Part {
  /** @type {TaskRecord[]} */
  #tasks = []
  #more = false
  #total = 0
  #filter = 'All'
  #search = ''
  #asked = 0
  #newest = ''
  /** @type {ReturnType<typeof setTimeout> | undefined} */
  #typing

  build() {
    this.#search = new URLSearchParams(location.search).get('search') ?? ''
    refill(
      this,
      h(
        'div.column.stack',
        h(
          'form',
          {
            role: 'search',
            class: 'field',
            onsubmit: (/** @type {Event} */ event) => {
              event.preventDefault()
              this.#seek()
            },
          },
          h('label', { for: 'search' }, 'Search tasks, answers and scripts'),
          h('input', {
            id: 'search',
            type: 'search',
            value: this.#search,
            autocomplete: 'off',
            oninput: () => this.#typed(),
          }),
        ),
        h('div.again', { role: 'group', 'aria-label': 'Outcome' }),
        h('div.found'),
      ),
    )
    this.follow(() => this.#refresh(), 'computers')
    void this.#load()
  }

  get #input() {
    return /** @type {HTMLInputElement} */ (this.find('#search'))
  }

  #typed() {
    clearTimeout(this.#typing)
    this.#typing = setTimeout(() => this.#seek(), PAUSE)
  }

  #seek() {
    clearTimeout(this.#typing)
    const search = this.#input.value.trim()
    if (search === this.#search) return
    this.#search = search
    history.replaceState(null, '', search ? `?search=${encodeURIComponent(search)}` : location.pathname)
    void this.#load()
  }

  #clear() {
    this.#input.value = ''
    this.#seek()
    this.#input.focus()
  }

  /** A task that has begun or ended meanwhile. */
  #refresh() {
    const last = store.current?.lastTask
    const newest = `${last?.id} ${last?.outcome}`
    const known = this.#newest
    this.#newest = newest
    if (known && known !== newest) void this.#load(false)
  }

  /** @param {boolean} [show] whether that it loads is shown */
  async #load(show = true) {
    if (show) refillFor(this.find('.found'), `loading ${++this.#asked}`, bones)
    await this.#fetch('', (page) => {
      // What was loaded of earlier ones stays, as long as it follows.
      const last = show || !page.more ? -1 : this.#tasks.findIndex(({ id }) => id === page.tasks.at(-1)?.id)
      const earlier = last < 0 ? [] : this.#tasks.slice(last + 1)
      if (earlier.length) page.more = this.#more
      this.#tasks = [...page.tasks, ...earlier]
    })
  }

  /** @param {string} before @param {(page: TaskPage) => void} take */
  async #fetch(before, take) {
    const asked = ++this.#asked
    const query = new URLSearchParams({
      limit: String(PAGE),
      ...(this.#search && { search: this.#search }),
      ...(before && { before }),
    })
    const { value, refusal } = await get(
      `/api/computers/${encodeURIComponent(store.watched)}/tasks?${query}`,
      this.signal,
    )
    if (asked !== this.#asked || refusal?.error === 'aborted') return
    if (refusal)
      return refillFor(this.find('.found'), `failed ${asked}`, () => failed(refusal, () => void this.#load()))
    take(value)
    this.#more = value.more
    this.#total = value.total
    this.#show()
  }

  #moreTasks() {
    const last = this.#tasks.at(-1)
    if (last) void this.#fetch(last.id, (page) => this.#tasks.push(...page.tasks))
  }

  #show() {
    this.#showFilters()
    const outcomes = FILTERS.find(([name]) => name === this.#filter)?.[1] ?? []
    const tasks = this.#tasks.filter((task) => !outcomes.length || outcomes.includes(task.outcome))
    const key = JSON.stringify([tasks.map((task) => [task.id, task.outcome]), this.#search, this.#more])
    refillFor(this.find('.found'), key, () => [
      tasks.length ? days(tasks, this.#search) : this.#none(),
      this.#more && h('p', h('button.btn', { onclick: () => this.#moreTasks() }, 'Earlier tasks')),
    ])
  }

  #showFilters() {
    const shown = FILTERS.map(([name, outcomes]) => ({
      name,
      number: this.#tasks.filter((task) => !outcomes.length || outcomes.includes(task.outcome)).length,
    })).filter(({ name, number }) => number > 0 || name === this.#filter)
    const place = this.find('.again')
    refillFor(
      /** @type {HTMLElement} */ (place),
      JSON.stringify([shown, this.#more]),
      () =>
        shown.length > 2 &&
        shown.map(({ name, number }) =>
          h(
            'button.chip',
            { 'data-name': name, onclick: () => this.#choose(name) },
            this.#more ? name : `${name} ${number}`,
          ),
        ),
    )
    for (const chip of /** @type {HTMLElement[]} */ ([...place.children]))
      setState(chip, 'pressed', chip.dataset.name === this.#filter)
  }

  /** @param {string} name */
  #choose(name) {
    this.#filter = name
    this.#show()
  }

  #none() {
    const name = store.nameOf(store.watched)
    if (this.#tasks.length)
      return empty(
        `None is “${this.#filter}”`,
        this.#more ? 'Earlier tasks are not among those that were looked at.' : 'All that were found are others.',
        h('button.btn', { onclick: () => this.#choose('All') }, 'Show all'),
      )
    if (!this.#search)
      return empty(
        'Nothing handed over yet',
        `What ${name} has done is kept here, step by step, with its pictures and scripts.`,
      )
    return empty(
      `No task says “${this.#search}”`,
      `Tasks, answers and scripts of ${count(this.#total, 'task')} were searched.`,
      h('button.btn', { onclick: () => this.#clear() }, 'Clear the search'),
    )
  }
}

/** @param {TaskRecord[]} tasks @param {string} search */
function days(tasks, search) {
  /** @type {Map<string, TaskRecord[]>} */
  const byDay = new Map()
  for (const task of tasks) {
    const name = day(task.began, store.now())
    byDay.set(name, [...(byDay.get(name) ?? []), task])
  }
  return [...byDay].map(([name, some]) => [
    h('h2.day', name),
    h(
      'div.card',
      h(
        'ul.rows',
        some.map((task) => taskRow(task, minute(task.began) + (task.from === 'phone' ? ' by phone' : ''), search)),
      ),
    ),
  ])
}

customElements.define('task-list', TaskList)

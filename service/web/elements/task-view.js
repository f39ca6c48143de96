// One past task: what came of it, and all its steps.

import { get } from '../api.js'
import { h, refill } from '../dom.js'
import { clock, count, day } from '../format.js'
import { icon } from '../icons.js'
import { computerPath } from '../router.js'
import { go, route, store } from '../session.js'
import { fromWord, outcomeWord } from '../words.js'
import { Part, bones, empty, failed, note } from './pieces.js'
import { TaskWatch } from './task-watch.js'

class TaskView extends Part {
  build() {
    refill(this, bones())
    void this.load()
  }

  async load() {
    const { value, refusal } = await get(`/api/tasks/${encodeURIComponent(route().id)}`, this.signal)
    if (!refusal) return this.show(value)
    if (refusal.error === 'aborted') return
    if (refusal.status === 404)
      refill(
        this,
        empty(
          'This task is not kept any more',
          'It may have been deleted, or it was older than what the service keeps.',
          h('a.btn.main', { href: '/' }, 'All computers'),
        ),
      )
    else
      refill(
        this,
        failed(refusal, () => void this.load()),
      )
  }

  /** @param {TaskDetails} details */
  show({ task, items, cut }) {
    store.watch(task.computer)
    document.title = [task.text.slice(0, 60), store.computers.get(task.computer)?.name, 'ombru']
      .filter(Boolean)
      .join(' · ')
    const watch = new TaskWatch()
    refill(
      this,
      h('a.btn.plain.back', { href: computerPath(task.computer, 'tasks') }, icon('back'), 'All tasks'),
      heading(task),
      cut ? note('', h('p.small', `This task was long: its newest ${count(items.length, 'line')} are here.`)) : null,
      watch,
    )
    watch.begin(items, null)
    watch.show({
      name: store.nameOf(task.computer),
      runs: false,
      away: false,
      until: task.ended ?? watch.steps.newest,
      line: '',
    })
  }
}

/** @param {TaskRecord} task */
function heading(task) {
  const { word, tone, icon: picture } = outcomeWord(task)
  const until = task.ended ? ` to ${clock(task.ended)}` : ''
  const again = () => {
    store.draft(task.computer).text = task.text
    go(computerPath(task.computer))
  }
  return h(
    'div.spread',
    h(
      'div.job',
      h('h2', task.text),
      h(
        'p.meta.num',
        h('span', { class: `state ${tone}` }, icon(picture), word),
        h('span', `${day(task.began, store.now())} ${clock(task.began)}${until}`),
        task.steps > 0 && h('span', count(task.steps, 'step')),
        h('span', fromWord(task)),
      ),
    ),
    h(
      'div.acts',
      task.outcome === 'running'
        ? h('a.btn.main', { href: computerPath(task.computer) }, 'Watch it')
        : h('button.btn', { onclick: again }, 'Hand over again'),
    ),
  )
}

customElements.define('task-view', TaskView)

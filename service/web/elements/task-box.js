// The box for a task. Its text leaves it only when the computer has begun with it.

import { h, refill, refillFor, say, set, setState } from '../dom.js'
import { store } from '../session.js'
import { Part, note } from './pieces.js'

/** @typedef {{heading: string, placeholder: string, low: boolean, help?: string}} Looks */

export class TaskBox extends Part {
  /** @type {Looks} */
  looks = { heading: '', placeholder: '', low: false }

  build() {
    const { heading, placeholder, low } = this.looks
    refill(
      this,
      h(
        'form',
        { class: `ask ${low ? 'low' : ''}`, onsubmit: (/** @type {Event} */ event) => this.submit(event) },
        h('h2', heading),
        h('div.trouble'),
        h(
          'div',
          { class: `taskbox ${low ? 'low' : ''}` },
          h('label.hidden', { for: 'task' }, `Task for ${store.nameOf(store.watched)}`),
          h('textarea', {
            id: 'task',
            placeholder,
            'aria-describedby': 'task-help',
            'aria-keyshortcuts': 'Control+Enter',
            oninput: () => this.keep(),
            onkeydown: (/** @type {KeyboardEvent} */ event) => this.key(event),
          }),
          h('div.foot', h('p.help', { id: 'task-help' }), h('button.btn.main', 'Hand over')),
        ),
      ),
    )
    this.follow(() => this.show(), 'drafts', 'computers', 'link')
    this.show()
  }

  /** @returns {HTMLTextAreaElement} */
  get box() {
    return this.find('textarea')
  }

  get draft() {
    return store.draft(store.watched)
  }

  /** @param {string} text */
  write(text) {
    this.draft.text = text
    store.tell('drafts')
    this.box.focus()
  }

  keep() {
    this.draft.text = this.box.value
    this.show()
  }

  /** @param {KeyboardEvent} event */
  key(event) {
    if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) this.submit(event)
  }

  /** @param {Event} event */
  submit(event) {
    event.preventDefault()
    if (!this.box.value.trim()) this.box.focus()
    else if (!this.why()) store.handOver(store.watched, this.box.value)
  }

  /** Why the task cannot be handed over now; empty when it can. */
  why() {
    const computer = store.current
    if (!computer) return 'This computer is not there any more.'
    if (this.draft.handedOver !== null)
      return store.live.link.state === 'open' ? `Waiting for ${computer.name} to begin …` : 'Waiting for the link …'
    if (store.live.link.state !== 'open') return 'Kept here. It can be handed over when the link is back.'
    if (!computer.online) return `Kept here. It can be handed over when ${computer.name} is back.`
    if (computer.state?.busy) return `Kept here. It can be handed over when ${computer.name} is done.`
    return ''
  }

  show() {
    const { draft, box } = this
    const why = this.why()
    if (box.value !== draft.text) box.value = draft.text
    box.readOnly = draft.handedOver !== null
    const button = this.find('.main')
    setState(button, 'disabled', why !== '')
    say(button, draft.handedOver === null ? 'Hand over' : 'Handing over …')
    refillFor(this.find('.help'), why || 'usual', () => why || this.usualHelp())
    refillFor(
      this.find('.trouble'),
      draft.note,
      () =>
        draft.note &&
        note('halt', h('p', h('strong', `${store.nameOf(store.watched)} did not take the task.`), ` ${draft.note}`)),
    )
    set(this.find('.trouble'), 'hidden', !draft.note)
  }

  usualHelp() {
    return [
      this.looks.help ? `${this.looks.help} ` : '',
      h('span.keys', h('kbd', 'Ctrl'), ' ', h('kbd', 'Enter'), ' hands it over'),
    ]
  }
}

customElements.define('task-box', TaskBox)

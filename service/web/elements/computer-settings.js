// The settings of one computer. What is saved says whether the computer has it yet.

import { ask, get } from '../api.js'
import { h, refill, refillFor, say, set, setState, within } from '../dom.js'
import { when } from '../format.js'
import { go, route, store } from '../session.js'
import { arrival, platformWord } from '../words.js'
import { Part, askTwice, bones, failed, field, note, showState, stateMark, trouble } from './pieces.js'

class ComputerSettings extends Part {
  /** @type {Settings | null} */
  #settings = null

  build() {
    refill(this, h('div.column.wide', bones()))
    this.follow(() => this.#fetched(), 'computers')
    this.follow(() => this.show(), 'tick')
    void this.#load()
  }

  get #path() {
    return `/api/computers/${encodeURIComponent(route().id)}`
  }

  async #load() {
    const { value, refusal } = await get(`${this.#path}/settings`, this.signal)
    if (!refusal) this.#begin(value)
    else if (refusal.error !== 'aborted')
      refill(
        this.find('.column'),
        failed(refusal, () => void this.#load()),
      )
  }

  /** The computer has asked for its configuration meanwhile. */
  #fetched() {
    const fetched = store.current?.fetchedAt
    if (this.#settings && fetched && fetched > (this.#settings.fetchedAt ?? 0)) this.#settings.fetchedAt = fetched
    this.show()
  }

  /** @param {Settings} settings */
  #begin(settings) {
    this.#settings = settings
    refill(
      this.find('.column'),
      h('h2.hidden', `Settings of ${store.nameOf(store.watched)}`),
      this.#group('Instructions', 'What the agent is told before every task.', instructions(settings)),
      this.#group('Calls', 'Who answers the phone, and how it sounds.', calls(settings)),
      h('section.set', h('div', h('h2', 'This computer')), h('div.body.about')),
    )
    this.show()
  }

  /** @param {string} heading @param {string} text @param {Child} fields */
  #group(heading, text, fields) {
    const form = h(
      'form.body',
      {
        onsubmit: (/** @type {Event} */ event) => {
          event.preventDefault()
          void this.#save(form)
        },
        oninput: () => this.show(),
      },
      fields,
      h('div.trouble'),
      h(
        'div.spread',
        h('p.saved', stateMark({ word: '', tone: 'rest' }), h('span.later')),
        h('button.btn.main', 'Save'),
      ),
    )
    return h('section.set', h('div', h('h2', heading), h('p', text)), form)
  }

  /** @param {HTMLFormElement} form @returns {Record<string, unknown>} what differs from what is saved */
  #changes(form) {
    const settings = /** @type {Record<string, any>} */ (this.#settings ?? {})
    return Object.fromEntries(
      inputsOf(form).flatMap((input) => {
        const value = input.type === 'checkbox' ? /** @type {HTMLInputElement} */ (input).checked : input.value
        const saved =
          input.name === 'speechKey'
            ? ''
            : input.name === 'systemPrompt'
              ? settings.systemPrompt || settings.defaultPrompt
              : settings[input.name]
        if (value === saved) return []
        return [[input.name, input.name === 'systemPrompt' && value === settings.defaultPrompt ? '' : value]]
      }),
    )
  }

  /** @param {HTMLFormElement} form */
  async #save(form) {
    const changes = this.#changes(form)
    if (!Object.keys(changes).length) return
    const typed = new Map(inputsOf(form).map((input) => [input, input.value]))
    const { value, refusal } = await ask('PUT', `${this.#path}/settings`, changes)
    refill(within(form, '.trouble'), refusal ? trouble('That was not saved.', refusal.message) : '')
    if (!value) return
    this.#settings = value
    for (const [input, then] of typed) {
      if (input.value !== then) continue // typed since
      if (input.name === 'speechKey') input.value = ''
      if (input.name === 'systemPrompt') input.value = value.systemPrompt || value.defaultPrompt
    }
    this.show()
  }

  show() {
    const computer = store.current
    const settings = this.#settings
    if (!settings || !computer) return
    for (const form of this.querySelectorAll('form')) {
      set(/** @type {Element} */ (form.parentElement), 'hidden', computer.revoked)
      this.#showSaved(form, settings, computer)
    }
    say(
      this.find('#systemPrompt-help'),
      settings.systemPrompt
        ? 'An emptied field brings the default back.'
        : `This is the default for ${platformWord(computer.platform)}. An emptied field brings the default back.`,
    )
    set(this.find('#speechKey'), 'placeholder', settings.speechKeySet ? 'A key is set' : 'No key is set')
    this.#showTrusted(settings, computer)
    refillFor(this.find('.about'), `${computer.name} ${computer.address} ${computer.signedIn} ${computer.revoked}`, () =>
      this.#about(computer),
    )
  }

  /** @param {HTMLFormElement} form @param {Settings} settings @param {Computer} computer */
  #showSaved(form, settings, computer) {
    setState(within(form, '.main'), 'disabled', !Object.keys(this.#changes(form)).length)
    const { word, more } = arrival(
      settings,
      inputsOf(form).map((input) => input.name),
      computer,
      store.now(),
    )
    showState(within(form, '.saved .state'), word)
    say(within(form, '.later'), more)
  }

  /** @param {Settings} settings @param {Computer} computer */
  #showTrusted(settings, computer) {
    const saved = settings.savedAt.trusted ?? 0
    const late = !settings.trusted && saved > computer.signedIn
    say(
      this.find('#trusted-help'),
      late ? `Off was saved at ${when(saved, store.now())}.` : 'Whoever calls can hand it tasks.',
    )
    refillFor(
      this.find('.still'),
      String(late),
      () =>
        late &&
        note(
          'wait',
          h(
            'p.small',
            h('strong', `${computer.name} still takes calls.`),
            ' Switching them off works there only after a sign-out: choose “Sign out” in its panel, then sign in again.',
          ),
        ),
    )
  }

  /** @param {Computer} computer */
  #about(computer) {
    return [
      h(
        'dl.facts',
        h('dt', 'Name'),
        h('dd', computer.name),
        h('dt', 'Signed in'),
        h('dd', `${when(computer.signedIn, store.now())}, from `, h('span.mono', computer.address)),
        h('dt', 'Platform'),
        h('dd', platformWord(computer.platform)),
      ),
      !computer.revoked &&
        h(
          'div.field',
          askTwice('Sign this computer out', `Sign ${computer.name} out now`, () => void this.#act('', '/')),
          h(
            'p.help',
            'It stops listening to this page within a minute. Its past tasks stay, below the list of computers, until you delete them.',
          ),
        ),
      h(
        'div.field',
        askTwice(
          'Delete its past tasks',
          'Delete tasks, pictures and scripts now',
          () => void this.#act('/history', location.pathname),
        ),
        h('p.help', 'All of them, here and for good. What they did on the computer stays done.'),
      ),
      h('div.trouble'),
    ]
  }

  /** @param {string} what @param {string} then where to go */
  async #act(what, then) {
    const { refusal } = await ask('DELETE', this.#path + what)
    if (refusal) return refill(this.find('.about .trouble'), trouble('That didn’t work.', refusal.message))
    if (then !== location.pathname) return go(then)
    refill(this.find('.about .trouble'), note('go', h('p', 'Its past tasks are deleted.')))
  }
}

/** @param {HTMLFormElement} form */
const inputsOf = (form) =>
  /** @type {(HTMLInputElement | HTMLTextAreaElement)[]} */ ([...form.querySelectorAll('[name]')])

/** @param {Settings} settings */
const instructions = ({ systemPrompt, defaultPrompt }) =>
  field(
    'System prompt',
    h(
      'textarea.small',
      { id: 'systemPrompt', name: 'systemPrompt', rows: 9, spellcheck: 'false' },
      systemPrompt || defaultPrompt,
    ),
    '',
  )

/** @param {Settings} settings @returns {Child} */
const calls = (settings) => [
  toggle('trusted', 'Calls reach this computer', settings.trusted),
  h('div.still'),
  toggle(
    'shareAudio',
    'Share the computer’s sound into calls',
    settings.shareAudio,
    'A caller can switch it off by saying so.',
  ),
  line('greeting', 'Greeting', settings.greeting),
  line('voice', 'Voice', settings.voice, 'The name of a voice of the speech service.'),
  line('speechKey', 'Deepgram key', '', 'It is never shown again. Leave the field empty to keep it.', 'password'),
]

/** @param {string} name @param {string} label @param {boolean} on @param {string} [help] */
const toggle = (name, label, on, help = '') =>
  h(
    'label.switch',
    { for: name },
    h('span.label', label),
    h('input', {
      id: name,
      name,
      type: 'checkbox',
      role: 'switch',
      checked: on,
      'aria-describedby': `${name}-help`,
      'aria-label': label,
    }),
    h('span.help', { id: `${name}-help` }, help),
  )

/** @param {string} name @param {string} label @param {string} value @param {string} [help] @param {string} [type] */
const line = (name, label, value, help, type = 'text') =>
  field(label, h('input', { id: name, name, type, value, autocomplete: 'off' }), help)

customElements.define('computer-settings', ComputerSettings)

// The ways in: signing in, and the first visit, which creates the owner.

import { ask } from '../api.js'
import { h, refill, set } from '../dom.js'
import { count, minutes } from '../format.js'
import { icon } from '../icons.js'
import { signedIn } from '../session.js'
import { Part, field, trouble } from './pieces.js'

const SHORTEST_PASSWORD = 12

/** @param {string} name @param {string} label @param {Record<string, unknown>} attributes @param {string} [help] */
const entry = (name, label, attributes, help) =>
  field(label, h('input', { id: name, name, type: 'text', ...attributes }), help)

const email = () => entry('email', 'E-mail', { type: 'email', autocomplete: 'username' })

/** A form that sends what is in it, and says what came of it. */
class Gate extends Part {
  path = ''
  /** @param {Refusal} refusal @returns {[string, string]} */
  explain(refusal) {
    return ['That didn’t work.', refusal.message]
  }

  /** @param {...Node} inside */
  frame(...inside) {
    const form = h(
      'form.pad',
      { novalidate: true, onsubmit: (/** @type {Event} */ event) => void this.submit(event) },
      inside[0] ?? '',
      h('div.trouble'),
      ...inside.slice(1),
    )
    refill(this, h('div.card', form))
    if (matchMedia('(pointer: fine)').matches) form.querySelector('input')?.focus()
  }

  get entries() {
    return /** @type {Record<string, string>} */ (Object.fromEntries(new FormData(this.find('form'))))
  }

  /** @param {Event} event */
  async submit(event) {
    event.preventDefault()
    const missing = /** @type {HTMLInputElement[]} */ ([...this.querySelectorAll('input')]).find(
      (input) => !input.value.trim(),
    )
    if (missing) return missing.focus()
    if (!this.acceptable()) return
    const button = this.find('.main')
    set(button, 'aria-disabled', 'true')
    const { value, refusal } = await ask('POST', this.path, this.entries)
    set(button, 'aria-disabled', null)
    if (!refusal) return signedIn(value)
    const [heading, text] = refusal.status === 429 ? tooMany(refusal) : this.explain(refusal)
    refill(this.find('.trouble'), trouble(heading, text))
    this.querySelector('input')?.focus()
  }

  acceptable() {
    return true
  }
}

/** @param {Refusal} refusal @returns {[string, string]} */
const tooMany = (refusal) => ['Too many attempts.', `Try again in ${minutes(Math.max(60, refusal.retryAfter ?? 600))}.`]

class SignIn extends Gate {
  path = '/api/sign-in'

  build() {
    this.frame(
      h('h1', 'Sign in'),
      email(),
      entry('password', 'Password', { type: 'password', autocomplete: 'current-password' }),
      h('button.btn.main.wide', 'Sign in'),
      h(
        'p.small.quiet',
        'Forgotten? Whoever runs the service sets a new one with ',
        h('code', 'ombru-service reset-password'),
        '.',
      ),
    )
  }

  /** @param {Refusal} refusal @returns {[string, string]} */
  explain(refusal) {
    if (refusal.error !== 'wrong') return super.explain(refusal)
    const left = refusal.attemptsLeft
    return [
      'That didn’t match.',
      `Check the e-mail and the password.${left === undefined ? '' : ` ${count(left, 'attempt')} ${left === 1 ? 'is' : 'are'} left for now.`}`,
    ]
  }
}

class FirstVisit extends Gate {
  path = '/api/first-visit'

  build() {
    this.frame(
      h(
        'div.stack.tight',
        h('h1', 'Set up this service'),
        h('p.quiet', 'It has no owner yet. The owner signs computers in, hands over tasks and hears what they play.'),
      ),
      entry(
        'code',
        'Code from the terminal',
        {
          class: 'mono',
          autocomplete: 'one-time-code',
          autocapitalize: 'characters',
          spellcheck: 'false',
          placeholder: 'XXXX-XXXX-XXXX',
        },
        'The service printed it when it started: the line begins with “First visit”.',
      ),
      email(),
      entry(
        'password',
        'Password',
        {
          type: 'password',
          autocomplete: 'new-password',
          onchange: () => this.acceptable(),
          oninput: () => this.relent(),
        },
        `At least ${SHORTEST_PASSWORD} characters; a short sentence is good.`,
      ),
      h('button.btn.main.wide', 'Create the owner'),
    )
  }

  get password() {
    return /** @type {HTMLInputElement} */ (this.find('#password'))
  }

  acceptable() {
    const { length } = this.password.value
    const good = length >= SHORTEST_PASSWORD
    set(this.password, 'aria-invalid', !good && 'true')
    const help = this.find('#password-help')
    set(help, 'class', good ? 'help' : 'wrong')
    if (good) refill(help, `${length} characters.`)
    else
      refill(
        help,
        icon('cross'),
        `${count(length, 'character')}. It needs at least ${SHORTEST_PASSWORD}; a short sentence is good.`,
      )
    return good
  }

  relent() {
    if (this.password.hasAttribute('aria-invalid')) this.acceptable()
  }

  /** @param {Refusal} refusal @returns {[string, string]} */
  explain(refusal) {
    return refusal.error === 'wrong'
      ? ['The code didn’t match.', 'The service prints it when it starts, and a new one each time.']
      : super.explain(refusal)
  }
}

customElements.define('sign-in', SignIn)
customElements.define('first-visit', FirstVisit)

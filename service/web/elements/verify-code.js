// A computer that wants to be signed in: which one, from where, and whether it may.

import { ask, get } from '../api.js'
import { h, refill, set } from '../dom.js'
import { minute, minutes } from '../format.js'
import { go, store } from '../session.js'
import { platformWord } from '../words.js'
import { Part, failed, field, note, signInCommand, signInHow, trouble } from './pieces.js'

/** As it is printed: "KTHR-4821". @param {string} typed */
function tidy(typed) {
  const letters = typed.toUpperCase().replace(/[^A-Z0-9]/g, '')
  return letters.length === 8 ? `${letters.slice(0, 4)}-${letters.slice(4)}` : typed.trim().toUpperCase()
}

class VerifyCode extends Part {
  build() {
    const code =
      new URLSearchParams(location.search).get('code') ?? new URLSearchParams(location.search).get('user_code') ?? ''
    if (code) void this.look(tidy(code))
    else this.askForCode()
  }

  /** @param {...Node} inside */
  frame(...inside) {
    refill(this, h('div.card', ...inside))
  }

  askForCode(why = '', typed = '') {
    const input = h('input.mono', {
      id: 'code',
      type: 'text',
      autocomplete: 'off',
      autocapitalize: 'characters',
      spellcheck: 'false',
      placeholder: 'XXXX-0000',
      value: typed,
    })
    const onsubmit = (/** @type {Event} */ event) => {
      event.preventDefault()
      if (input.value.trim()) void this.look(tidy(input.value))
    }
    this.frame(
      h(
        'form.pad',
        { onsubmit },
        head('Add a computer', `On the computer: ${signInHow}. It shows a code.`),
        signInCommand(),
        why && trouble('That code is not good.', why),
        field('Code on its screen', input, 'A code is good for 15 minutes.'),
        h('button.btn.main.wide', 'Go on'),
      ),
    )
    input.focus()
  }

  /** @param {string} code */
  async look(code) {
    const { value, refusal } = await get(`/api/verify?code=${encodeURIComponent(code)}`, this.signal)
    if (!refusal) return this.decide(code, value)
    if (refusal.error === 'aborted') return
    if (refusal.status === 404 || refusal.status === 400)
      return this.askForCode('It may be over, or a letter is wrong. Ask the computer for a new one.', code)
    if (refusal.status === 429) return this.askForCode('There were too many attempts. Wait some minutes.', code)
    this.frame(
      h(
        'div.pad',
        h('h1', 'Add a computer'),
        failed(refusal, () => void this.look(code)),
      ),
    )
  }

  /** @param {string} code @param {Asking} asking */
  decide(code, asking) {
    const { name, sameAddress } = asking
    const look = sameAddress ? 'main' : 'other'
    const yes = sameAddress ? `Allow ${name}` : `It’s mine: allow ${name}`
    const allow = h('button', { class: `btn wide ${look}`, onclick: () => void this.answer(code, asking, true) }, yes)
    const no = sameAddress ? 'other' : 'danger'
    const refuse = h(
      'button',
      { class: `btn wide ${no}`, onclick: () => void this.answer(code, asking, false) },
      'Refuse',
    )
    this.frame(
      h(
        'div.pad',
        h(
          'div.stack.tight',
          h('h1', `Sign in “${name}”?`),
          h('p.quiet', 'Allow it only if this same code stands on its screen now.'),
        ),
        h('p.code', h('span.hidden', `Code ${spelled(code)}`), h('span', { 'aria-hidden': 'true' }, code)),
        facts(asking),
        asking.before && again(asking.before),
        warning(sameAddress),
        h('div.trouble'),
        h('div.stack.tight', ...(sameAddress ? [allow, refuse] : [refuse, allow])),
      ),
    )
  }

  /** @param {string} code @param {Asking} asking @param {boolean} allow */
  async answer(code, asking, allow) {
    for (const button of this.querySelectorAll('button')) set(button, 'aria-disabled', 'true')
    const before = allow && this.querySelector('input')?.checked ? asking.before?.id : null
    const { refusal } = await ask('POST', '/api/verify', { code, allow, before })
    if (!refusal) return this.done(asking, allow)
    for (const button of this.querySelectorAll('button')) set(button, 'aria-disabled', null)
    refill(this.find('.trouble'), trouble('That didn’t work.', refusal.message))
  }

  /** @param {Asking} asking @param {boolean} allow */
  done({ name }, allow) {
    if (allow)
      this.follow(
        () => [...store.computers.values()].some((computer) => computer.name === name && computer.online) && go('/'),
        'computers',
      )
    const text = allow
      ? 'It connects within a few seconds and then stands in the list.'
      : 'It stays signed out. If it asks again and you did not start it, tell whoever uses it.'
    this.frame(
      h(
        'div.pad',
        h('h1', { tabindex: '-1' }, allow ? `${name} is allowed` : `${name} was refused`),
        note(allow ? 'go' : '', h('p', text)),
        h('a.btn.main.wide', { href: '/' }, 'All computers'),
      ),
    )
    this.querySelector('h1')?.focus()
  }
}

/** @param {string} heading @param {string} text */
const head = (heading, text) => h('div.stack.tight', h('h1', heading), h('p.quiet', text))

/** @param {string} code */
const spelled = (code) => [...code].map((letter) => (letter === '-' ? ',' : ` ${letter}`)).join('')

/** @param {Asking} asking */
function facts({ name, platform, address, sameAddress, asked, expires }) {
  const now = store.now()
  const ago = Math.floor((now - asked) / 60)
  return h(
    'dl.facts',
    h('dt', 'Computer'),
    h('dd', name, h('small', `calls itself that · ${platformWord(platform)}`)),
    h('dt', 'Asks from'),
    h(
      'dd',
      h('span.mono', address),
      h('small', sameAddress ? 'the same address as this browser' : 'another address than this browser’s'),
    ),
    h('dt', 'Asked'),
    h(
      'dd',
      `${minute(asked)}, ${ago < 1 ? 'just now' : `${minutes(now - asked)} ago`}`,
      h('small', `the code is good for ${minutes(expires - now + 59)} more`),
    ),
  )
}

/**
 * One of that name was here before. One that is connected now is another one, unless its owner says so.
 * @param {{online: boolean}} before
 */
const again = ({ online }) =>
  h(
    'label.switch',
    { for: 'before' },
    h('span.label', 'It was here before'),
    h('input', { id: 'before', type: 'checkbox', role: 'switch', checked: !online, 'aria-describedby': 'before-help' }),
    h(
      'span.help',
      { id: 'before-help' },
      'It keeps its tasks and settings.' + (online ? ' The one that is connected now is signed out then.' : ''),
    ),
  )

/** @param {boolean} same */
const warning = (same) =>
  same
    ? note(
        '',
        h(
          'p.small',
          'It will carry out your tasks and send pictures of its screen to this page. You can sign it out at any time.',
        ),
      )
    : note(
        'wait',
        h(
          'p.small',
          h('strong', 'This computer is somewhere else.'),
          ' If you did not start this yourself, or somebody sent you the link, refuse.',
        ),
      )

customElements.define('verify-code', VerifyCode)

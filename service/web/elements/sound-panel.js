// What is heard of the computer: a level, how long, how loud.

import { h, refill, say, set } from '../dom.js'
import { span } from '../format.js'
import { store } from '../session.js'
import { player } from '../sound/player.js'
import { Part, showState, stateMark } from './pieces.js'

const CELLS = 24
const LOWEST = -60
const SILENT_AFTER = 3
const CALM = matchMedia('(prefers-reduced-motion: reduce)')

export class SoundPanel extends Part {
  #began = 0
  #shownAt = 0
  #peak = LOWEST

  build() {
    this.mark = stateMark({ word: '', tone: 'rest' })
    refill(
      this,
      h(
        'section.card.listen',
        { 'aria-label': 'Listen' },
        h('div', h('p', this.mark), h('p.small.quiet.num.took')),
        h(
          'div',
          h(
            'div.level',
            {
              role: 'meter',
              'aria-label': 'Level',
              'aria-valuemin': LOWEST,
              'aria-valuemax': 0,
              'aria-valuenow': LOWEST,
            },
            Array.from({ length: CELLS }, () => h('i')),
          ),
          h(
            'p.level-scale.num',
            { 'aria-hidden': 'true' },
            ['−60', '−40', '−20', '0 dB'].map((word) => h('span', word)),
          ),
        ),
        h(
          'div.field',
          h('label.small', { for: 'loudness' }, 'Loudness here'),
          h('input', {
            id: 'loudness',
            type: 'range',
            min: 0,
            max: 100,
            value: Math.round(player.loudness * 100),
            oninput: (/** @type {Event} */ event) =>
              player.setLoudness(Number(/** @type {HTMLInputElement} */ (event.target).value) / 100),
          }),
        ),
        h('p.small.quiet.why'),
      ),
    )
    this.#began = store.now()
    player.onlevel = (level) => this.#level(level)
    player.onsound = () => this.show()
    this.follow(() => this.show(), 'tick', 'computers')
    this.show()
  }

  show() {
    const name = store.nameOf(store.watched)
    const sounds = player.heard && store.now() - player.heard < SILENT_AFTER
    if (this.mark)
      showState(
        this.mark,
        sounds
          ? { word: `Live from ${name}`, tone: 'go', live: true }
          : { word: player.trouble ? 'No sound' : `Waiting for ${name}`, tone: 'wait' },
      )
    say(this.find('.took'), sounds ? span(store.now() - this.#began) : '')
    say(this.find('.why'), player.trouble || `You hear what ${name} plays. Nothing is recorded.`)
    if (!sounds) this.#level(LOWEST)
  }

  /** @param {number} level in decibels */
  #level(level) {
    const now = performance.now()
    if (CALM.matches && now - this.#shownAt < 250) return
    this.#shownAt = now
    this.#peak = Math.max(level, this.#peak - (CALM.matches ? 4 : 0.6))
    const place = (/** @type {number} */ decibels) => Math.round(((decibels - LOWEST) / -LOWEST) * CELLS)
    const meter = this.find('.level')
    ;[...meter.children].forEach((cell, at) =>
      set(
        cell,
        'class',
        at < place(level) ? (at > CELLS - 4 ? 'on hi' : 'on') : at === place(this.#peak) - 1 ? 'peak' : null,
      ),
    )
    const whole = Math.max(LOWEST, Math.min(0, Math.round(level)))
    set(meter, 'aria-valuenow', whole)
    set(meter, 'aria-valuetext', whole === LOWEST ? 'silent' : `minus ${-whole} decibels`)
  }
}

customElements.define('sound-panel', SoundPanel)

// The pictures of a task: one large, all in a strip, and one as large as the window.

import { h, keyed, refill, refillFor, say, set } from '../dom.js'
import { clock } from '../format.js'
import { icon } from '../icons.js'
import { walkByArrows } from './time-line.js'
import { Part } from './pieces.js'

/** @typedef {{pictures: Item[], step: number, name: string, runs: boolean, away: boolean}} Shown */

export class ScreenPictures extends Part {
  /** @type {(step: number) => void} */
  onchoose = () => {}
  /** @type {Shown} */
  #shown = { pictures: [], step: 0, name: '', runs: false, away: false }

  build() {
    const strip = h('div.strip', { role: 'group', 'aria-label': 'Earlier pictures' })
    walkByArrows(strip)
    new ResizeObserver(() => this.#bringIntoSight(strip)).observe(strip)
    refill(
      this,
      h(
        'section.eyes.side',
        { 'aria-label': 'Pictures' },
        h(
          'figure',
          h('button.picture', { onclick: () => this.#enlarge() }),
          h(
            'figcaption',
            h('b'),
            h('span.num'),
            h('button.btn', { onclick: () => this.#enlarge() }, icon('enlarge'), 'Enlarge'),
          ),
        ),
        strip,
      ),
      h(
        'dialog.large',
        {
          'aria-label': 'Picture of the screen',
          onkeydown: (/** @type {KeyboardEvent} */ event) => this.#walk(event),
          onclick: () => this.#dialog.close(),
        },
        h('div.place'),
        h('p.spread', h('span.num'), h('button.btn', 'Close')),
      ),
    )
  }

  /** @returns {HTMLDialogElement} */
  get #dialog() {
    return this.find('dialog')
  }

  /** @param {Shown} shown */
  show(shown) {
    this.#shown = shown
    const { pictures, step, away } = shown
    const picture = pictures.find((one) => one.step === step)
    this.find('section').classList.toggle('faded', away)
    this.#showLarge(picture)
    const strip = this.find('.strip')
    keyed(
      strip,
      pictures,
      (one) => one.url ?? '',
      (one) => this.#small(one),
      (element, one) => set(element, 'aria-current', one.step === step && 'true'),
    )
    set(strip, 'hidden', pictures.length < 2)
    this.#bringIntoSight(strip)
    this.#showEnlarged(picture)
  }

  #inSight = ''
  /** Once for each choice: then the strip is the reader's. @param {HTMLElement} strip */
  #bringIntoSight(strip) {
    const chosen = strip.querySelector('[aria-current]')
    const place = strip.getBoundingClientRect()
    const key = `${this.#shown.step} ${place.width} ${strip.children.length}`
    if (!chosen || !place.width || key === this.#inSight) return
    this.#inSight = key
    const { left, right, top, bottom } = chosen.getBoundingClientRect()
    strip.scrollLeft += Math.max(0, right + 4 - place.right) + Math.min(0, left - 4 - place.left)
    strip.scrollTop += Math.max(0, bottom + 4 - place.bottom) + Math.min(0, top - 4 - place.top)
  }

  /** @param {Item | undefined} picture */
  #showLarge(picture) {
    const { step, runs, away, pictures, name } = this.#shown
    const place = this.find('.picture')
    refillFor(/** @type {HTMLElement} */ (place), picture?.url ?? `none of ${step}`, () =>
      picture ? image(picture, name, 'sync') : h('span.absent', step ? `No picture of step ${step}` : 'No picture yet'),
    )
    for (const button of this.querySelectorAll('figure button')) set(button, 'disabled', !picture)
    say(this.find('figcaption b'), step ? `Step ${step}` : '')
    const newest = picture && picture === pictures.at(-1)
    const word = away ? '' : newest ? (runs ? ' · newest' : ' · last') : ''
    say(this.find('figcaption .num'), picture ? (away ? 'as of ' : '') + clock(picture.time) + word : '')
  }

  /** @param {Item} picture */
  #small(picture) {
    return h(
      'button',
      { onclick: () => this.onchoose(picture.step) },
      h('img', {
        src: picture.url,
        alt: `Picture of step ${picture.step}`,
        loading: 'lazy',
        decoding: 'async',
        width: 160,
        height: 100,
      }),
      h('span', { 'aria-hidden': 'true' }, h('b', String(picture.step)), h('time', clock(picture.time))),
    )
  }

  #enlarge() {
    if (!this.#shown.pictures.some((one) => one.step === this.#shown.step)) return
    this.#dialog.showModal()
    this.show(this.#shown)
  }

  /** @param {Item | undefined} picture */
  #showEnlarged(picture) {
    if (!this.#dialog.open || !picture) return
    refillFor(this.find('.place'), picture.url ?? '', () => image(picture, this.#shown.name, 'sync'))
    say(this.find('dialog .num'), `Step ${picture.step} · ${clock(picture.time)}`)
  }

  /** @param {KeyboardEvent} event */
  #walk(event) {
    const way = { ArrowLeft: -1, ArrowRight: 1 }[event.key]
    const { pictures, step } = this.#shown
    const next = way && pictures[pictures.findIndex((one) => one.step === step) + way]
    if (next) this.onchoose(next.step)
  }
}

/** @param {Item} picture @param {string} name @param {'sync' | 'async'} decoding */
function image(picture, name, decoding) {
  const gone = () => made.replaceWith(h('span.absent', 'This picture is not kept any more'))
  const made = h('img', { src: picture.url, alt: `Screen of ${name} in step ${picture.step}`, decoding, onerror: gone })
  return made
}

customElements.define('screen-pictures', ScreenPictures)

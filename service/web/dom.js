// Building the document. Whatever comes from elsewhere becomes a text node or an attribute, never markup.

/**
 * An element: name and classes ("p.small.quiet"), attributes and listeners ("onclick") if there are any, children.
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K | `${K}.${string}`} name
 * @param {...(Child | Record<string, unknown>)} inside
 * @returns {HTMLElementTagNameMap[K]}
 */
export function h(name, ...inside) {
  const [tag = '', ...classes] = name.split('.')
  const made = document.createElement(/** @type {K} */ (tag))
  if (classes.length) made.className = classes.join(' ')
  const attributes = inside[0]?.constructor === Object ? /** @type {Record<string, unknown>} */ (inside.shift()) : {}
  // What acts by itself sends no form.
  if (made instanceof HTMLButtonElement && attributes.onclick) made.type = 'button'
  for (const [key, value] of Object.entries(attributes))
    if (typeof value === 'function') made.addEventListener(key.slice(2), /** @type {EventListener} */ (value))
    else set(made, key, value)
  fill(made, .../** @type {Child[]} */ (inside))
  return made
}

/** @param {Element} element @param {string} name @param {unknown} value */
export function set(element, name, value) {
  const wanted = value === undefined || value === null || value === false ? null : value === true ? '' : String(value)
  if (element.getAttribute(name) === wanted) return
  if (wanted === null) element.removeAttribute(name)
  else element.setAttribute(name, wanted)
}

/** An ARIA state, which says "false" where an attribute would be absent. @param {Element} element @param {string} name @param {boolean} value */
export const setState = (element, name, value) => set(element, `aria-${name}`, String(value))

/** @param {Node} element @param {string} words */
export function say(element, words) {
  if (element.textContent !== words) element.textContent = words
}

/** @param {Element} element @param {...Child} children */
export function fill(element, ...children) {
  element.append(.../** @type {(Node | string)[]} */ (children.flat(9).filter((child) => child || child === '')))
}

/** @param {Element} element @param {...Child} children */
export function refill(element, ...children) {
  element.replaceChildren()
  fill(element, ...children)
}

/**
 * Refills only when what it shows has become another.
 * @param {Element} element @param {string} key @param {() => Child} make
 */
export function refillFor(element, key, make) {
  if (keys.get(element) === key) return
  keys.set(element, key)
  refill(element, make())
}

/** @type {WeakMap<Element, string>} */
const keys = new WeakMap()

/**
 * Children in the order of values; one stays the same element as long as its key does.
 * @template T
 * @param {Element} parent
 * @param {T[]} values
 * @param {(value: T) => string} keyOf
 * @param {(value: T) => HTMLElement} make
 * @param {(element: HTMLElement, value: T) => void} [update]
 */
export function keyed(parent, values, keyOf, make, update) {
  const old = new Map([...parent.children].map((child) => [/** @type {HTMLElement} */ (child).dataset.key, child]))
  values.forEach((value, place) => {
    const key = keyOf(value)
    const child = /** @type {HTMLElement} */ (old.get(key) ?? make(value))
    old.delete(key)
    child.dataset.key = key
    update?.(child, value)
    if (parent.children[place] !== child) parent.insertBefore(child, parent.children[place] ?? null)
  })
  for (const child of old.values()) child.remove()
}

/** What is known to be in an element. @param {Element} element @param {string} selector */
export const within = (element, selector) => /** @type {HTMLElement} */ (element.querySelector(selector))

/** Numbers for the style sheets. @param {HTMLElement} element @param {string} name @param {string | number} value */
export const measure = (element, name, value) => element.style.setProperty(`--${name}`, String(value))

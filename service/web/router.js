// Which view a path is. Pure.

/** @typedef {{view: 'computers' | 'now' | 'tasks' | 'settings' | 'task' | 'verify' | 'nothing', id: string}} Route */

/** @type {[RegExp, Route['view']][]} */
const ROUTES = [
  [/^\/$/, 'computers'],
  [/^\/computers\/([^/]+)$/, 'now'],
  [/^\/computers\/([^/]+)\/tasks$/, 'tasks'],
  [/^\/computers\/([^/]+)\/settings$/, 'settings'],
  [/^\/tasks\/([^/]+)$/, 'task'],
  [/^\/verify$/, 'verify'],
]

/** @param {string} path @returns {Route} */
export function routeOf(path) {
  for (const [pattern, view] of ROUTES) {
    const found = pattern.exec(path)
    if (found) return { view, id: decoded(found[1] ?? '') }
  }
  return { view: 'nothing', id: '' }
}

/** @param {string} part */
function decoded(part) {
  try {
    return decodeURIComponent(part)
  } catch {
    return part
  }
}

/** @param {string} id @param {'' | 'tasks' | 'settings'} [tab] */
export const computerPath = (id, tab = '') => `/computers/${encodeURIComponent(id)}${tab && `/${tab}`}`
/** @param {string} id */
export const taskPath = (id) => `/tasks/${encodeURIComponent(id)}`

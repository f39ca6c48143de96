// Requests to the service. What it refuses is a value.

/** @template T @typedef {{value: T, refusal?: undefined} | {value?: undefined, refusal: Refusal}} Answer */

let csrf = ''
let owner = ''
let ahead = 0
let onSignedOut = () => {}
let onForbidden = async () => {}

/** @param {string} token @param {string} account that it is of */
export function useCsrf(token, account) {
  csrf = token
  owner = account
}
/** @param {() => void} told */
export const whenSignedOut = (told) => void (onSignedOut = told)
/** What looks for a new token. @param {() => Promise<void>} renew */
export const whenForbidden = (renew) => void (onForbidden = renew)

/** Seconds since 1970 by the service's clock, so that a wrong one here tells no wrong times. */
export const now = () => Date.now() / 1000 + ahead

/** @param {Response} response */
function compareClocks(response) {
  const date = Date.parse(response.headers.get('date') ?? '') / 1000
  const difference = date - Date.now() / 1000
  if (Math.abs(difference) > 3) ahead = difference
  else if (Math.abs(difference) <= 3) ahead = 0
}

/**
 * @param {string} method @param {string} path @param {unknown} [body] @param {AbortSignal} [signal]
 * @returns {Promise<Answer<any>>}
 */
export async function ask(method, path, body, signal) {
  const before = owner
  const answer = await askOnce(method, path, body, signal)
  if (answer.refusal?.error !== 'forbidden') return answer
  await onForbidden() // another tab may have signed in again, and the token be an old one
  return owner === before ? askOnce(method, path, body, signal) : answer
}

/**
 * @param {string} method @param {string} path @param {unknown} [body] @param {AbortSignal} [signal]
 * @returns {Promise<Answer<any>>}
 */
async function askOnce(method, path, body, signal) {
  /** @type {Record<string, string>} */
  const headers = { 'X-CSRF-Token': csrf, ...(body !== undefined && { 'Content-Type': 'application/json' }) }
  try {
    const response = await fetch(path, {
      method,
      headers,
      body: body === undefined ? null : JSON.stringify(body),
      signal: signal ?? null,
    })
    compareClocks(response)
    return await read(response)
  } catch (error) {
    const aborted = error instanceof DOMException && error.name === 'AbortError'
    return {
      refusal: { status: 0, error: aborted ? 'aborted' : 'unreachable', message: 'The service does not answer.' },
    }
  }
}

/** @param {Response} response @returns {Promise<Answer<unknown>>} */
async function read(response) {
  const text = await response.text()
  const value = text && response.headers.get('content-type')?.startsWith('application/json') ? JSON.parse(text) : {}
  if (response.ok) return { value }
  if (response.status === 401) onSignedOut()
  const retryAfter = Number(response.headers.get('retry-after')) || undefined
  return {
    refusal: {
      error: '',
      message: `The service answered ${response.status}.`,
      ...value,
      status: response.status,
      retryAfter,
    },
  }
}

/** Who is signed in, and their token: what no token is needed for, so that nobody looks for another. */
export const whoIs = () => askOnce('GET', '/api/me')

/** @param {string} path @param {AbortSignal} [signal] @returns {Promise<Answer<any>>} */
export const get = (path, signal) => ask('GET', path, undefined, signal)

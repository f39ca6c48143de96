// The one store of this page, its socket, and the ways between views.

import { get, now, useCsrf, whenForbidden, whenSignedOut, whoIs } from './api.js'
import { Live } from './live.js'
import { routeOf } from './router.js'
import { Store } from './store.js'

const live = new Live({
  open: () => new WebSocket(`${location.protocol.replace('http', 'ws')}//${location.host}/live`),
  now,
  later: (run, seconds) => setTimeout(run, seconds * 1000),
  cancel: (timer) => clearTimeout(timer),
})

export const store = new Store(
  live,
  now,
  async (task) => (await get(`/api/tasks/${encodeURIComponent(task)}`)).value ?? null,
)

/** @param {Me} me */
const useToken = (me) => useCsrf(me.csrf, me.account?.id ?? '')

/** @param {Me} me */
export function signedIn(me) {
  useToken(me)
  store.signIn(me)
}

/** Asks who is signed in; false when the service does not answer. */
export async function recognise() {
  const answer = await whoIs()
  if (answer.value) signedIn(answer.value)
  return !answer.refusal
}

whenSignedOut(() => store.me.account && store.signOut())
addEventListener('online', () => live.tryNow())
addEventListener('offline', () => live.drop())
setInterval(() => document.hidden || store.tell('tick'), 1000)

/** Another tab may have begun another session, of this account or of another. */
async function lookWho() {
  const { value } = await whoIs()
  if (!value || !store.me.account) return
  if (value.account?.id === store.me.account.id) return useToken(value)
  store.signOut()
  signedIn(value)
}

// A socket that was refused says not why; a session that has ended is one reason, and another account's another.
store.on('link', () => void (live.link.state === 'waiting' && lookWho()))
whenForbidden(lookWho)

/** @type {Set<() => void>} */
const followers = new Set()
export const route = () => routeOf(location.pathname)
/** @param {() => void} follower */
export const onRoute = (follower) => void followers.add(follower)

/** @param {string} path @param {boolean} [instead] takes the place of this one in the browser's history */
export function go(path, instead = false) {
  if (instead) history.replaceState(null, '', path)
  else history.pushState(null, '', path)
  for (const follower of followers) follower()
}

addEventListener('popstate', () => followers.forEach((follower) => follower()))
addEventListener('click', (event) => {
  const link = /** @type {Element} */ (event.target).closest('a')
  if (
    !link ||
    event.defaultPrevented ||
    event.button ||
    event.metaKey ||
    event.ctrlKey ||
    event.shiftKey ||
    event.altKey
  )
    return
  if (link.origin !== location.origin || link.target || link.hash || link.hasAttribute('download')) return
  event.preventDefault()
  go(link.pathname + link.search)
})

/** @type {ReturnType<typeof setTimeout> | undefined} */
let speaking
let lastSpoken = 0

/** Says one short sentence to a screen reader, at most one a second; the newest counts. @param {string} sentence */
export function announce(sentence) {
  if (!sentence) return
  clearTimeout(speaking)
  speaking = setTimeout(
    () => {
      lastSpoken = Date.now()
      const region = document.querySelector('[role=status].hidden')
      if (region) region.textContent = sentence
    },
    Math.max(0, lastSpoken + 1000 - Date.now()),
  )
}

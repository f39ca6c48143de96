// What states, outcomes and kinds are called, and how they look. Pure.

import { minute, opening, when } from './format.js'

/** @param {Computer} computer @returns {Word} */
export function stateWord(computer) {
  if (computer.revoked) return { word: 'Signed out', tone: 'rest' }
  if (!computer.online) return { word: computer.since === null ? 'Never seen' : 'Away', tone: 'rest' }
  const busy = computer.state?.busy ?? false
  if (computer.state?.calls.length)
    return { word: busy ? 'On a call · working' : 'On a call', tone: 'wait', live: true }
  return busy ? { word: 'Working', tone: 'wait', live: true } : { word: 'Ready', tone: 'go' }
}

/** @type {Record<string, Word & {icon: string}>} */
const OUTCOMES = {
  running: { word: 'Working', tone: 'wait', icon: 'running' },
  done: { word: 'Done', tone: 'go', icon: 'check' },
  answered: { word: 'Answered', tone: 'go', icon: 'check' },
  unfinished: { word: 'Not finished', tone: 'wait', icon: 'warning' },
  stopped: { word: 'Stopped', tone: 'rest', icon: 'square' },
  failed: { word: 'Something went wrong', tone: 'halt', icon: 'cross' },
}
const UNKNOWN = /** @type {Word & {icon: string}} */ ({ word: 'End not known', tone: 'rest', icon: 'unknown' })

/** @param {TaskRecord} task */
export const outcomeWord = (task) => OUTCOMES[task.outcome] ?? UNKNOWN

/** The answer, or what there is instead of one. @param {TaskRecord} task */
export function answerOf(task) {
  const step = task.steps ? ` in step ${task.steps}` : ''
  if (task.outcome === 'stopped') return `Stopped${step}`
  if (task.outcome === 'unfinished') return `Ran out of steps after ${task.steps}`
  if (task.outcome === 'unknown') return `Its end was not seen; the last that came was${step || ' its beginning'}`
  const answer = task.answer.replace(/^(✓ |✗ |claude: )/, '')
  if (task.outcome === 'failed') return answer ? `Something went wrong: ${answer}` : 'Something went wrong'
  return answer
}

/** @param {TaskRecord} task */
export const fromWord = (task) =>
  task.from === 'web' ? 'From the web' : task.from === 'phone' ? 'By phone' : 'From the terminal'

/** @type {Record<string, string>} */
const PLATFORMS = { linux: 'Linux', macos: 'macOS' }
/** @param {string} platform */
export const platformWord = (platform) => PLATFORMS[platform] ?? 'Not known'

/** The word in the gutter of each kind, and what of a text it says already. @type {Record<string, [string, RegExp?]>} */
const KINDS = {
  user: ['Task'],
  call: ['Call'],
  heard: ['Heard'],
  said: ['Said'],
  claude: ['Claude', /^claude: /],
  code: ['Script', /^script:\n?/],
  result: ['Result'],
  good: ['Done'],
  bad: ['Failed'],
  warn: ['Notice'],
}

/** @param {Item} item */
export function readLine(item) {
  const [word, lead] = KINDS[item.kind] ?? ['Line']
  const text = (item.text ?? '').replace(/☎(?!\uFE0E)/g, '☎\uFE0E')
  const said = lead?.exec(text)?.[0] ?? ''
  return { word, lead: said, text: text.slice(said.length) }
}

/** @param {Refused} why @param {string} name */
export function refusal(why, name) {
  const reason = {
    away: `${name} is away.`,
    busy: 'It was already working on another.',
    timeout: 'It said nothing for 15 seconds.',
    gone: 'Its link was lost before.',
  }
  return `${reason[why]} Your text is back in the box.`
}

/** @param {Link['why']} why */
export function lostLink(why) {
  if (why === 'tooManyPages') return 'Too many pages are open. Close some of them.'
  return why ? 'This page asked for too much at once.' : 'No link to the service.'
}

/**
 * What the page of one computer is about.
 * @param {Computer} computer @param {number} now @param {boolean} seen whether the page saw the last task run
 * @returns {'revoked' | 'new' | 'away' | 'busy' | 'call' | 'finished' | 'idle'}
 */
export function sceneOf(computer, now, seen) {
  if (computer.revoked) return 'revoked'
  if (!computer.online) return computer.since === null ? 'new' : 'away'
  if (computer.state?.busy) return 'busy'
  if (computer.state?.calls.length) return 'call'
  const ended = computer.lastTask?.ended ?? null
  return ended !== null && (seen || now - ended < RECENT) ? 'finished' : 'idle'
}
const RECENT = 600

/** What of an item is read out, if anything. @param {Item} item @returns {string} */
export function spoken(item) {
  if (item.kind === 'picture') return `Step ${item.step}`
  const { text } = readLine(item)
  if (item.kind === 'claude') return opening(text)
  return item.kind === 'good' ? `Done. ${opening(text.replace(/^✓ /, ''))}` : ''
}

const ASKS_EVERY = 60

/**
 * @param {Pick<Settings, 'savedAt' | 'arrivedAt' | 'fetchedAt'>} settings @param {string[]} fields
 * @param {Computer} computer @param {number} now
 * @returns {{word: Word, more: string}}
 */
export function arrival({ savedAt, arrivedAt, fetchedAt }, fields, computer, now) {
  const saved = Math.max(0, ...fields.map((field) => savedAt[field] ?? 0))
  if (!saved) return { word: { word: 'As it was at first', tone: 'rest' }, more: 'nothing was saved here yet' }
  if ((fetchedAt ?? 0) < saved)
    return { word: { word: 'Saved · on its way', tone: 'wait', live: true }, more: expected(computer, fetchedAt, now) }
  const arrived = Math.max(0, ...fields.map((field) => arrivedAt[field] ?? 0))
  const word = arrived >= saved ? `At ${computer.name} since ${when(arrived, now)}` : `At ${computer.name}`
  return { word: { word, tone: 'go' }, more: '' }
}

/** @param {Computer} computer @param {number | null} fetchedAt @param {number} now */
function expected({ name, online }, fetchedAt, now) {
  if (!online) return `${name} is away; it asks for it when it is back`
  const next = fetchedAt && fetchedAt + ASKS_EVERY > now ? `, next at ${minute(fetchedAt + ASKS_EVERY)}` : ''
  return `${name} asks once a minute${next}`
}

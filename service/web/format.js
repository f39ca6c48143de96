// Times and numbers as words, in the reader's time zone. Pure.

const DAYS = ['Sunday', 'Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday']
const MONTHS = [
  'January',
  'February',
  'March',
  'April',
  'May',
  'June',
  'July',
  'August',
  'September',
  'October',
  'November',
  'December',
]

/** @param {number} number */
const two = (number) => String(number).padStart(2, '0')
/** @param {number} time */
const dateOf = (time) => new Date(time * 1000)
/** Days between two times by the calendar. @param {Date} from @param {Date} to */
const daysBetween = (from, to) =>
  Math.round((new Date(to).setHours(12, 0, 0, 0) - new Date(from).setHours(12, 0, 0, 0)) / 86_400_000)

/** @param {number} time */
export function clock(time) {
  const date = dateOf(time)
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`
}

/** @param {number} time */
export const minute = (time) => clock(time).slice(0, 5)

/** @param {number} time @param {number} now */
export function day(time, now) {
  const date = dateOf(time)
  const ago = daysBetween(date, dateOf(now))
  if (ago === 0) return 'Today'
  if (ago === 1) return 'Yesterday'
  const year = date.getFullYear() === dateOf(now).getFullYear() ? '' : ` ${date.getFullYear()}`
  return `${DAYS[date.getDay()]} ${date.getDate()} ${MONTHS[date.getMonth()]}${year}`
}

/** In a list, short: "Today 09:12", "Fri 11:30", "3 Nov". @param {number} time @param {number} now */
export function shortDay(time, now) {
  const date = dateOf(time)
  const ago = daysBetween(date, dateOf(now))
  if (ago === 0 || ago === 1) return `${day(time, now)} ${minute(time)}`
  if (ago > 1 && ago < 7) return `${(DAYS[date.getDay()] ?? '').slice(0, 3)} ${minute(time)}`
  return `${date.getDate()} ${(MONTHS[date.getMonth()] ?? '').slice(0, 3)} ${date.getFullYear()}`
}

/** In a sentence: "10:43", "yesterday 16:20", "Friday 20 November, 09:55". @param {number} time @param {number} now */
export function when(time, now) {
  const word = day(time, now)
  if (word === 'Today') return minute(time)
  return word === 'Yesterday' ? `yesterday ${minute(time)}` : `${word}, ${minute(time)}`
}

/** @param {number} seconds */
export function span(seconds) {
  const whole = Math.max(0, Math.round(seconds))
  if (whole < 60) return `${whole} s`
  if (whole < 3600) return `${Math.floor(whole / 60)} min ${two(whole % 60)} s`
  return `${Math.floor(whole / 3600)} h ${two(Math.floor(whole / 60) % 60)} min`
}

/** @param {number} number @param {string} one */
export const count = (number, one) => `${number.toLocaleString('en')} ${one}${number === 1 ? '' : 's'}`

/** @param {number} seconds */
export function minutes(seconds) {
  const whole = Math.floor(Math.max(0, seconds) / 60)
  return whole < 120 ? count(whole, 'minute') : count(Math.floor(whole / 60), 'hour')
}

/** @param {number} bytes */
export function size(bytes) {
  if (bytes < 1000) return `${bytes} bytes`
  return bytes < 1_000_000 ? `${Math.round(bytes / 1000)} kB` : `${(bytes / 1_000_000).toFixed(1)} MB`
}

/** The first sentence, for being read out. @param {string} text @param {number} [most] */
export function opening(text, most = 120) {
  const sentence = (/^[^\n]*?[.!?…](?=\s|$)|^[^\n]*/.exec(text.trim()) ?? [''])[0]
  return sentence.length > most ? `${sentence.slice(0, most - 1).trimEnd()}…` : sentence
}

/** Cuts a text where a search found something: pieces by turns outside and inside. @param {string} text @param {string} search */
export function pieces(text, search) {
  if (!search) return [text]
  const found = []
  const low = text.toLowerCase()
  const sought = search.toLowerCase()
  let from = 0
  for (let at = low.indexOf(sought); at >= 0; at = low.indexOf(sought, from)) {
    found.push(text.slice(from, at), text.slice(at, at + sought.length))
    from = at + sought.length
  }
  return [...found, text.slice(from)]
}

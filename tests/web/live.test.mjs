// The socket that comes back, and the store behind it.
import assert from 'node:assert/strict'
import { test } from 'node:test'
import { load } from './modules.mjs'

const { Live, SESSION_ENDED } = await load('live.js')
const { Store } = await load('store.js')
const { MOST_ITEMS } = await load('items.js')

class Socket {
  sent = []
  send(text) {
    this.sent.push(JSON.parse(text))
  }
  close() {}
  say(message) {
    this.onmessage({ data: JSON.stringify(message) })
  }
}

/** A page on a clock of its own. */
function begin(details = null) {
  const page = { time: 1000, sockets: [], timers: [] }
  const live = new Live({
    open: () => (page.sockets.push(new Socket()), page.sockets.at(-1)),
    now: () => page.time,
    later: (run, seconds) => page.timers.push({ run, seconds }),
    cancel: () => {},
  })
  const store = new Store(
    live,
    () => page.time,
    async () => details,
  )
  store.signIn({ account: { id: 'a', email: 'e' }, csrf: '', firstVisit: false })
  const connect = () => (page.sockets.at(-1).onopen(), page.sockets.at(-1))
  const cut = (code = 1006) => page.sockets.at(-1).onclose({ code })
  const wait = () => page.timers.pop().run()
  return { page, live, store, connect, cut, wait }
}

const computer = (more = {}) => ({
  id: 'c',
  name: 'workshop',
  online: true,
  revoked: false,
  since: 1,
  state: { busy: false, step: 0, calls: [], sharing: false, status: '', received: 1 },
  lastTask: null,
  ...more,
})
const busy = (id = 't1') =>
  computer({ state: { ...computer().state, busy: true }, lastTask: { id, text: 'x', outcome: 'running' } })
const item = (number, more = {}) => ({
  number,
  computer: 'c',
  task: 't1',
  step: 0,
  time: 1,
  kind: 'claude',
  text: `line ${number}`,
  ...more,
})
const items = (...numbers) => ({ type: 'items', computer: 'c', items: numbers.map((number) => item(number)) })

test('the socket tries again after 1, 2, 4, 8 and then each 15 seconds, and says when', () => {
  const { page, live, cut, wait } = begin()
  const waits = []
  for (let turn = 0; turn < 6; ++turn) {
    cut()
    waits.push(page.timers.at(-1).seconds)
    assert.equal(live.link.nextTry, page.time + waits.at(-1))
    wait()
  }
  assert.deepEqual(waits, [1, 2, 4, 8, 15, 15])
})

test('a link that came back begins with the short wait again', () => {
  const { page, connect, cut, wait } = begin()
  for (let turn = 0; turn < 4; ++turn) {
    cut()
    wait()
  }
  connect()
  cut()
  assert.equal(page.timers.at(-1).seconds, 1)
})

test('a socket that is refused for a reason is tried again after the longest wait, and says why', () => {
  for (const [code, why] of [
    [4429, 'tooManyPages'],
    [1008, 'tooManyMessages'],
  ]) {
    const { page, live, connect, cut, wait } = begin()
    connect()
    cut(code)
    assert.equal(live.link.why, why)
    assert.equal(page.timers.at(-1).seconds, 15)
    wait()
    connect()
    cut()
    assert.equal(live.link.why, '')
    assert.equal(page.timers.at(-1).seconds, 1)
  }
})

test('a try at once is one try', () => {
  const { page, live, cut } = begin()
  cut()
  live.tryNow()
  live.tryNow()
  assert.equal(page.sockets.length, 2)
})

test('an ended session signs the page out, and it does not try again', () => {
  const { page, store, connect, cut } = begin()
  connect()
  cut(SESSION_ENDED)
  store.live.tryNow()
  assert.equal(store.me.account, null)
  assert.equal(page.timers.length, 0)
  assert.equal(page.sockets.length, 1)
})

test('after a reconnect it asks for what follows, and shows nothing twice', () => {
  const { store, connect, cut, wait } = begin()
  const shown = []
  store.on('items', (some) => shown.push(...some.map((one) => one.number)))
  store.watch('c')
  let socket = connect()
  assert.deepEqual(socket.sent.at(-1), { type: 'watch', computer: 'c', after: -1 })
  socket.say(items(7, 8, 9))
  cut()
  wait()
  socket = connect()
  assert.deepEqual(socket.sent.at(-1), { type: 'watch', computer: 'c', after: 9 })
  socket.say(items(9, 10))
  socket.say(items(11))
  assert.deepEqual(shown, [7, 8, 9, 10, 11])
})

test('a gap is asked for again', () => {
  const { store, connect } = begin()
  store.watch('c')
  const socket = connect()
  socket.say(items(1, 2))
  socket.say(items(4))
  assert.deepEqual(socket.sent.at(-1), { type: 'watch', computer: 'c', after: 2 })
  socket.say(items(4))
  assert.deepEqual(socket.sent.at(-1), { type: 'watch', computer: 'c', after: -1 }, 'what is no longer kept')
})

test('a service that went back to an older copy is followed', () => {
  const { store, connect } = begin()
  store.watch('c')
  const socket = connect()
  socket.say(items(8, 9))
  socket.say({ type: 'caughtUp', computer: 'c', number: 5 })
  assert.deepEqual(socket.sent.at(-1), { type: 'watch', computer: 'c', after: -1 })
})

test('a task leaves the box only when the computer has begun with it', () => {
  const { store, connect } = begin()
  store.watch('c')
  const socket = connect()
  socket.say({ type: 'computers', computers: [computer()] })
  store.handOver('c', '  sort the invoices \n')
  assert.deepEqual(socket.sent.at(-1), { type: 'task', computer: 'c', text: 'sort the invoices' })
  assert.equal(store.draft('c').text, 'sort the invoices')
  socket.say({ type: 'items', computer: 'c', items: [item(1, { kind: 'user', text: 'web ❯ something else' })] })
  assert.equal(store.draft('c').handedOver, 'sort the invoices')
  socket.say({ type: 'items', computer: 'c', items: [item(2, { kind: 'user', text: 'web ❯ sort the invoices' })] })
  assert.deepEqual(store.draft('c'), { text: '', handedOver: null, note: '' })
})

test('each reason not to take a task is a word, and the text is kept', () => {
  const notes = new Set()
  for (const why of ['away', 'busy', 'timeout', 'gone']) {
    const { store, connect } = begin()
    store.watch('c')
    const socket = connect()
    store.handOver('c', 'beep')
    socket.say({ type: 'notAccepted', computer: 'c', text: 'beep', why })
    assert.equal(store.draft('c').text, 'beep')
    assert.equal(store.draft('c').handedOver, null)
    notes.add(store.draft('c').note)
  }
  assert.equal(notes.size, 4)
})

test('a task that was under way when the link was lost comes back with the doubt, unless it has begun', () => {
  for (const begun of [true, false]) {
    const { store, connect, cut, wait } = begin()
    store.watch('c')
    let socket = connect()
    socket.say(items(1))
    store.handOver('c', 'beep')
    cut()
    wait()
    socket = connect()
    if (begun) socket.say({ type: 'items', computer: 'c', items: [item(2, { kind: 'user', text: 'web ❯ beep' })] })
    socket.say({ type: 'caughtUp', computer: 'c', number: 2 })
    assert.equal(store.draft('c').text, begun ? '' : 'beep')
    assert.match(store.draft('c').note, begun ? /^$/ : /link was lost/)
  }
})

test('a task is not handed over while there is no link', () => {
  const { store, cut } = begin()
  cut()
  store.handOver('c', 'beep')
  assert.equal(store.draft('c').handedOver, null)
})

test('a task that is under way is not handed over a second time', () => {
  const { store, connect } = begin()
  store.watch('c')
  const socket = connect()
  store.handOver('c', 'beep')
  store.handOver('c', 'beep')
  assert.equal(socket.sent.filter((one) => one.type === 'task').length, 1)
})

test('Stop is said again after a reconnect as long as the same task runs', () => {
  for (const task of ['t1', 't2']) {
    const { page, store, connect, cut, wait } = begin()
    connect().say({ type: 'computers', computers: [busy()] })
    store.stop('c')
    store.stop('c')
    assert.equal(page.sockets.at(-1).sent.filter((one) => one.type === 'cancel').length, 1)
    cut()
    store.computers.set('c', busy(task))
    wait()
    assert.equal(connect().sent.filter((one) => one.type === 'cancel').length, task === 't1' ? 1 : 0)
  }
})

test('a Stop that nobody has answered can be pressed again after a while, and not before', () => {
  const { page, store, connect } = begin()
  const socket = connect()
  const cancels = () => socket.sent.filter((one) => one.type === 'cancel').length
  socket.say({ type: 'computers', computers: [busy()] })
  store.stop('c')
  page.time += 5
  store.stop('c')
  assert.equal(cancels(), 1)
  page.time += 1
  assert.equal(store.stopping('c'), 'slow')
  store.stop('c')
  assert.equal(cancels(), 2)
  assert.equal(store.stopping('c'), 'told')
})

test('nothing of an account goes on with the next', () => {
  for (const end of ['sign out', 'session']) {
    const { store, connect, cut } = begin()
    const heard = []
    store.on('listening', () => heard.push(store.listening))
    connect().say({ type: 'computers', computers: [busy()] })
    store.watch('c')
    store.listen(true)
    store.stop('c')
    store.draft('c').text = 'a secret'
    store.live.onMessage({ type: 'full', message: 'x' })
    if (end === 'session') cut(SESSION_ENDED)
    else store.signOut()
    assert.deepEqual(heard, [true, false], end)
    store.signIn({ account: { id: 'b', email: 'f' }, csrf: '', firstVisit: false })
    const socket = connect()
    store.watch('c')
    assert.deepEqual(
      socket.sent.map((one) => one.type),
      ['watch'],
    )
    assert.deepEqual([store.stops.size, store.seen.size, store.full, store.draft('c').text], [0, 0, '', ''])
  }
})

test('Stop is over when the computer says that it rests', () => {
  const { store, connect } = begin()
  const socket = connect()
  socket.say({ type: 'computers', computers: [busy()] })
  store.stop('c')
  socket.say({ type: 'computer', computer: computer() })
  assert.equal(store.stops.size, 0)
})

test('listening goes on after a reconnect and ends with the view of the computer', () => {
  const { store, connect, cut, wait } = begin()
  store.watch('c')
  connect()
  store.listen(true)
  cut()
  wait()
  const socket = connect()
  assert.deepEqual(socket.sent.at(-1), { type: 'listen', computer: 'c', on: true })
  store.watch('')
  assert.deepEqual(socket.sent.slice(-2), [{ type: 'listen', computer: 'c', on: false }, { type: 'unwatch' }])
})

test('the beginning of a long task is fetched', async () => {
  const task = { task: {}, items: [item(1, { kind: 'user' }), item(2)] }
  const { store, connect } = begin(task)
  store.watch('c')
  const socket = connect()
  socket.say(items(501, 502))
  socket.say({ type: 'caughtUp', computer: 'c', number: 502 })
  await new Promise(setImmediate)
  assert.deepEqual(
    store.history.items.map((one) => one.number),
    [1, 2, 501, 502],
  )
})

test('100,000 events leave the store as large as it may be', () => {
  const { store, connect } = begin()
  store.watch('c')
  const socket = connect()
  for (let from = 1; from < 100_000; from += 200)
    socket.say(items(...Array.from({ length: 200 }, (_, at) => from + at)))
  assert.equal(store.history.items.length, MOST_ITEMS)
})

test('a watched computer that is no longer there is gone from the page', () => {
  const { store, connect } = begin()
  const socket = connect()
  socket.say({ type: 'computers', computers: [computer()] })
  store.watch('c')
  let told = 0
  store.on('computers', () => ++told)
  socket.say({ type: 'gone', computer: 'c' })
  assert.equal(store.current, undefined)
  assert.equal(store.known, true)
  assert.equal(told, 1)
})

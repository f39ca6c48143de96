// A client of the call server that is not ours: node ws-client.cjs WS_PACKAGE READY_DESCRIPTOR PORT
//
// Plays every part of the protocol against a server that echoes text, says on the descriptor that it is done, in one line:
// "ok", or what was not as it should be.
const fs = require('fs')
const { WebSocket } = require(process.argv[2])

const address = `ws://127.0.0.1:${process.argv[4]}`
const SIZES = [0, 1, 125, 126, 65535, 65536, 16 << 20]

// What comes of an event, as a promise; a connection that ends before is a failure.
function next(socket, event) {
  return new Promise((resolve, reject) => {
    socket.once(event, (...values) => resolve(values))
    if (event !== 'close') socket.once('close', (code) => reject(new Error(`closed with ${code}, not ${event}`)))
    socket.once('error', reject)
  })
}

async function joined(path, options) {
  const socket = new WebSocket(address + path, options)
  socket.setMaxListeners(0)
  await next(socket, 'open')
  return socket
}

function same(what, got, expected) {
  if (got !== expected) throw new Error(`${what}: ${got}, not ${expected}`)
}

async function echoed(socket, what, text, ...options) {
  const answer = next(socket, 'message')
  socket.send(text, ...options)
  const [data, isBinary] = await answer
  same(`${what} is binary`, isBinary, false)
  if (data.toString() !== text.toString()) throw new Error(`${what} came back otherwise`)
}

async function refused(path, status, options) {
  const socket = new WebSocket(address + path, options)
  const [, response] = await next(socket, 'unexpected-response')
  same(`the answer to ${path}`, response.statusCode, status)
}

async function messages(socket) {
  for (const size of SIZES) {
    await echoed(socket, `a text of ${size}`, 'x'.repeat(size))
    await echoed(socket, `a binary message of ${size}`, Buffer.alloc(size, 'b'), { binary: true })
  }
  await echoed(socket, 'more than ASCII', 'Grüße ✓ 😀')
}

async function fragments(socket) {
  const answer = next(socket, 'message')
  socket.send('one ', { fin: false })
  socket.ping('between')
  socket.send('two ', { fin: false })
  socket.send('three', { fin: true })
  same('a fragmented message', (await answer)[0].toString(), 'one two three')
}

async function pings(socket) {
  for (const text of ['', 'x', 'y'.repeat(125)]) {
    const answer = next(socket, 'pong')
    socket.ping(text)
    same('a pong', (await answer)[0].toString(), text)
  }
}

async function closes(socket, code) {
  const closed = next(socket, 'close')
  socket.close(code, 'done')
  same(`the answer to a close with ${code}`, (await closed)[0], 1000)
}

async function all() {
  const socket = await joined('/media?token=abc')
  await messages(socket)
  await fragments(socket)
  await pings(socket)
  await closes(socket, 1000)
  await closes(await joined('/', { headers: { Authorization: 'Bearer abc' } }), 4321)
  const asked = await joined('/media?token=abc')
  const closed = next(asked, 'close')
  asked.send('close')
  same('the close of the server', (await closed)[0], 1000)
  await refused('/media?token=wrong', 401)
  await refused('/other?token=abc', 401)
}

all()
  .then(() => 'ok', (error) => error.message)
  .then((line) => fs.writeSync(Number(process.argv[3]), line + '\n'))

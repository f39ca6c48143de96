// The same events by the package "ws" in the usual way, for each number on its input so many, one a millisecond:
// node event-emitter.cjs WS_PACKAGE CHANNEL
const WebSocket = require(process.argv[2])

const channel = new WebSocket(process.argv[3], { headers: { Authorization: 'Bearer stand-in-token' } })

function emit() {
  const text = String(process.hrtime.bigint())
  channel.send(JSON.stringify({ type: 'event', kind: 'said', text, ts: Date.now() / 1000 }))
}

function emitEvents(count) {
  emit()
  if (count > 1) setTimeout(emitEvents, 1, count - 1)
}

channel.on('open', () => console.log('ready'))
process.stdin.on('data', (data) => emitEvents(Number(data)))
process.stdin.on('end', () => process.exit())

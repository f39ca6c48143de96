// The server that is measured, by the package "ws" in the usual way: node ws-server.cjs WS_PACKAGE
const { WebSocketServer } = require(process.argv[2])

const sound = Buffer.alloc(160, 0x8f)

function play(socket, streamSid) {
  const beat = () =>
    socket.send(JSON.stringify({ event: 'media', streamSid, media: { payload: sound.toString('base64') } }))
  const timer = setInterval(beat, 20)
  socket.on('close', () => clearInterval(timer))
}

const server = new WebSocketServer({ host: '127.0.0.1', port: 0, perMessageDeflate: false }, () =>
  console.log(server.address().port),
)
server.on('connection', (socket, request) => {
  socket.on('error', () => {})
  if (!request.url.startsWith('/media')) {
    socket.on('message', (data) => socket.send(data, { binary: false }))
    return
  }
  socket.on('message', (data) => {
    const message = JSON.parse(data)
    if (message.event === 'start') play(socket, message.streamSid)
  })
})

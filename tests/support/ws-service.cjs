// The service's end of the web channel by a server that is not ours: node ws-service.cjs WS_PACKAGE READY_DESCRIPTOR
//
// It says its port on the descriptor, keeps what it sees, and does what it is asked over HTTP:
//   POST /say {...}       the object goes to the computer       POST /close {"code": N}   closes with that code
//   POST /ping {}         pings it                              POST /long {"length": N}  listens, in so many letters
//   POST /seen {}         what it has seen, {"seen": [...]}
const fs = require('fs')
const http = require('http')
const { WebSocketServer } = require(process.argv[2])

const seen = []
let computer

const requests = {
  '/say': (body) => computer.send(JSON.stringify(body)),
  '/close': ({ code }) => computer.close(code, 'as asked'),
  '/ping': () => computer.ping('are you there'),
  '/long': ({ length }) => computer.send(JSON.stringify({ type: 'listen', on: true, filling: 'x'.repeat(length) })),
  '/seen': () => {},
}

const server = http.createServer((request, response) => {
  let body = ''
  request.on('data', (part) => (body += part))
  request.on('end', () => {
    requests[request.url](JSON.parse(body))
    response.end(JSON.stringify({ seen }))
  })
})

function saw(data, isBinary) {
  const text = isBinary ? '' : data.toString()
  if (isBinary) seen.push('binary ' + data.toString('hex'))
  else if (text.length > 1000) seen.push('long ' + (JSON.parse(text).text || '').length)
  else seen.push('text ' + text)
}

new WebSocketServer({ server, path: '/agent' }).on('connection', (socket, request) => {
  computer = socket
  seen.push('open ' + request.headers.authorization)
  socket.on('message', saw)
  socket.on('ping', () => seen.push('ping'))
  socket.on('pong', (data) => seen.push('pong ' + data))
  socket.on('close', (code) => seen.push('close ' + code))
  socket.on('error', (error) => seen.push('error ' + error.message))
})

server.listen(0, '127.0.0.1', () => fs.writeSync(Number(process.argv[3]), server.address().port + '\n'))

// A service and a computer as they are: ombru-service, the application on this desktop, and between the service and the
// browser a proxy that can be cut. Only the model is played, by the rehearsed agent. One a private desktop.
import { execFile, spawn } from 'node:child_process'
import { mkdirSync, symlinkSync, writeFileSync } from 'node:fs'
import { createServer, connect } from 'node:net'
import { join } from 'node:path'
import { promisify } from 'node:util'
import { until } from './browser.mjs'

const BIN = process.env.OMBRU_BIN
const HOME = process.env.HOME
const SCENARIOS = join(HOME, 'scenarios')
const RATE = 48000
const run = promisify(execFile)

const QUICK = `task: count the letters
words: count letters

=== 1
I’ll count them.

\`\`\`applescript
do shell script "printf abc | wc -c"
\`\`\`

=== 2 when success
DONE: There are three.
`

const LENGTHY = `task: wait for the tide
words: wait tide

=== 1
I’ll wait.

\`\`\`applescript
delay 600
\`\`\`
`

const TURNED = join(HOME, 'turned')
const PATIENT = `task: watch the waves
words: watch waves

=== 1
I’ll watch them.

\`\`\`applescript
do shell script "until [ -e ~/turned ]; do sleep 0.1; done; echo first wave"
\`\`\`

=== 2 when success
One more.

\`\`\`applescript
do shell script "echo second wave"
\`\`\`

=== 3 when success
DONE: The tide has turned.
`

/** What is started, and what it has said. */
class Program {
  said = ''

  constructor(name, args = [], { env = {}, input = '' } = {}) {
    const words = { ...process.env, OMBRU_SCENARIO: SCENARIOS, ...env }
    this.process = spawn(name.startsWith('ombru') ? join(BIN, name) : name, args, { env: words })
    for (const stream of [this.process.stdout, this.process.stderr]) stream.on('data', (text) => (this.said += text))
    this.process.stdin.on('error', () => {})
    this.process.stdin.end(input)
    this.ended = new Promise((done) => this.process.on('exit', done))
  }

  /** The part of what it says that the expression puts in brackets. */
  async says(expression) {
    await until(() => expression.test(this.said)).catch(() => {
      throw new Error(`It does not say ${expression}: ${this.said}`)
    })
    return expression.exec(this.said)[1]
  }

  async end(signal = 'SIGTERM') {
    this.process.kill(signal)
    await this.ended
  }
}

/** A port that nobody has. */
async function freePort() {
  const server = createServer()
  await new Promise((done) => server.listen(0, '127.0.0.1', done))
  const { port } = server.address()
  await new Promise((done) => server.close(done))
  return port
}

/** Hands bytes on to a port, as long as it is not cut. */
class Proxy {
  isCut = false
  #sockets = new Set()
  #server = createServer((near) => {
    if (this.isCut) return near.destroy()
    const far = connect(this.port, '127.0.0.1')
    for (const [one, other] of [
      [near, far],
      [far, near],
    ]) {
      this.#sockets.add(one)
      one.on('error', () => {}).on('close', () => (this.#sockets.delete(one), other.destroy()))
      one.pipe(other)
    }
  })

  async listen() {
    await new Promise((done) => this.#server.listen(0, '127.0.0.1', done))
    return `http://localhost:${this.#server.address().port}`
  }

  cut() {
    this.isCut = true
    for (const socket of this.#sockets) socket.destroy()
  }

  close() {
    this.cut()
    this.#server.close()
  }
}

export class Household {
  proxy = new Proxy()
  #programs = []
  /** @type {Program} */
  #service

  #start(...words) {
    this.#programs.push(new Program(...words))
    return this.#programs.at(-1)
  }

  async begin() {
    mkdirSync(SCENARIOS, { recursive: true })
    mkdirSync(join(HOME, '.local/bin'), { recursive: true })
    symlinkSync(join(BIN, 'ombru-rehearsed-agent'), join(HOME, '.local/bin/claude'))
    writeFileSync(join(SCENARIOS, 'quick.scenario'), QUICK)
    writeFileSync(join(SCENARIOS, 'lengthy.scenario'), LENGTHY)
    writeFileSync(join(SCENARIOS, 'patient.scenario'), PATIENT)
    this.address = await this.proxy.listen()
    this.proxy.port = await freePort()
    this.startService()
    this.visitCode = await this.#service.says(/First visit:.* (\S+)\n/)
    // A store of secrets that is there already asks nobody to choose a password for a new one.
    this.#start('gnome-keyring-daemon', ['--foreground', '--unlock', '--components=secrets'], { input: 'rehearsed' })
    await run('gdbus', ['wait', '--session', '--timeout', '20', 'org.freedesktop.secrets'])
  }

  startService() {
    this.#service = this.#start('ombru-service', ['--port', `${this.proxy.port}`, '--public-url', this.address])
  }

  /** Without a word to anybody. */
  async killService() {
    await this.#service.end('SIGKILL')
  }

  /** What the task "watch the waves" waits for. */
  turnTide() {
    writeFileSync(TURNED, '')
  }

  /** The computer asks to be signed in; the code that it shows. */
  signIn() {
    // Without a display it opens no browser of its own.
    const words = ['sign-in', '--server', `http://127.0.0.1:${this.proxy.port}`]
    this.signingIn = this.#start('ombru', words, { env: { DISPLAY: '', WAYLAND_DISPLAY: '' } })
    return this.signingIn.says(/verify\?code=([A-Z]+-\d+)/)
  }

  async startApplication() {
    await this.signingIn.ended
    this.#start('ombru', ['--headless'])
  }

  /** What the computer itself says of its state. */
  async status() {
    return JSON.parse((await run(join(BIN, 'ombru'), ['status', '--json'])).stdout).application
  }

  doHere(task) {
    return run(join(BIN, 'ombru'), ['run', task])
  }

  /** The computer plays a tone; ends it when called. */
  playTone(frequency) {
    const samples = Int16Array.from({ length: RATE * 60 }, (_, at) => 9000 * Math.sin((at * frequency * 2 * Math.PI) / RATE))
    const words = ['--playback', '--device=speakers', '--format=s16le', `--rate=${RATE}`, '--channels=1']
    const player = this.#start('pacat', words, { input: Buffer.from(samples.buffer) })
    return () => player.end()
  }

  /** Whether anybody records what the computer plays. */
  async isRecorded() {
    return (await run('pactl', ['list', 'short', 'source-outputs'])).stdout !== ''
  }

  async end() {
    this.proxy.close()
    for (const program of this.#programs.reverse()) await program.end()
  }
}

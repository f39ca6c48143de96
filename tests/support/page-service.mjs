// A stand-in of the service for its page: it speaks the same words, keeps everything in memory, and does what a test says.
//
//   node page-service.mjs PORT SCENE     one of the scenes of page-scenes.mjs, to be looked at in a browser
//
// The package `ws` is where OMBRU_WS says.
import { createServer } from 'node:http'
import { createRequire } from 'node:module'
import { fileURLToPath } from 'node:url'
import { sendDrawing, sendFile } from './page-files.mjs'

const { WebSocketServer } = createRequire(import.meta.url)(process.env.OMBRU_WS ?? 'ws')
const POLICY =
  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src 'self'; manifest-src 'self'; worker-src 'self'; media-src 'self' blob:; base-uri 'none'; form-action 'self'; frame-ancestors 'none'"
const PAGE = 200
const NEWEST = 500
const DEFAULT_PROMPT =
  'You are controlling a Linux computer for the user. Your only way to act is by writing AppleScript, which will be executed with `osascript` on the user’s machine.\n\nEach turn you receive a path to a screenshot of the current screen. Answer with one script, or, when the task is done, with a line that begins with DONE: and what came of it.'

const problem = (status, error, message, more = {}) => ({ status, body: { error, message, ...more } })

export class PageService {
  account = { id: 'a1', email: 'owner@house.example' }
  password = 'a short sentence'
  csrf = 'csrf-of-the-test'
  firstVisit = false
  signedIn = true
  computers = new Map()
  items = new Map()
  tasks = []
  settings = new Map()
  asking = new Map()
  /** What comes of a task that is handed over: "begin", or why it is not accepted, or "nothing". */
  answers = 'begin'
  /** What came from pages. */
  heard = []
  requests = []
  /** Answers of paths that a test wants: path → {status, body}. */
  instead = new Map()
  sockets = new Set()
  refuseSockets = false
  /** What a page's socket is closed with at once. */
  closesWith = 0
  #ahead = 0
  #full = ''
  #held = false
  #picture = 0
  #task = 0

  /** @param {number} [begin] what time it is */
  constructor(begin) {
    if (begin) this.#ahead = begin - Date.now() / 1000
  }

  now() {
    return Date.now() / 1000 + this.#ahead
  }

  async listen(port = 0) {
    this.server = createServer((request, answer) => void this.#answer(request, answer))
    const sockets = new WebSocketServer({ noServer: true })
    this.server.on('upgrade', (request, socket, head) => {
      if (this.refuseSockets || !this.signedIn || request.url !== '/live') return socket.destroy()
      sockets.handleUpgrade(request, socket, head, (page) => this.#join(page))
    })
    await new Promise((resolve) => this.server.listen(port, '127.0.0.1', resolve))
    this.address = `http://127.0.0.1:${this.server.address().port}`
    return this
  }

  async close() {
    for (const socket of this.sockets) socket.terminate()
    this.server.closeAllConnections()
    await new Promise((resolve) => this.server.close(resolve))
  }

  // What computers do.

  addComputer(id, fields = {}) {
    const computer = {
      id,
      name: id,
      platform: 'linux',
      signedIn: this.now() - 3600,
      address: '192.0.2.17',
      revoked: false,
      online: true,
      since: this.now() - 3500,
      state: this.#state(),
      listening: false,
      lastTask: null,
      fetchedAt: this.now() - 20,
      picture: null,
      ...fields,
    }
    this.computers.set(id, computer)
    this.items.set(id, [])
    this.settings.set(id, {
      systemPrompt: '',
      defaultPrompt: DEFAULT_PROMPT,
      greeting: 'Hey, what can I help you with?',
      voice: 'aura-2-thalia-en',
      speechKeySet: true,
      trusted: true,
      shareAudio: true,
      savedAt: {},
      arrivedAt: {},
      fetchedAt: computer.fetchedAt,
    })
    return computer
  }

  #state(more = {}) {
    return { busy: false, step: 0, calls: [], sharing: false, status: 'ready', received: this.now(), ...more }
  }

  change(id, fields) {
    const computer = Object.assign(this.computers.get(id), fields)
    this.#tellAll({ type: 'computer', computer })
  }

  state(id, more) {
    this.change(id, { state: { ...this.computers.get(id).state, received: this.now(), ...more } })
  }

  say(id, kind, text, more = {}) {
    return this.#store(id, { kind, text, ...more })
  }

  picture(id, step, more = {}, what = 'files') {
    const name = `p${++this.#picture}-${what}-${step}`
    const item = this.#store(id, { kind: 'picture', step, picture: name, url: `/api/pictures/${name}`, ...more })
    this.change(id, { picture: { id: name, url: item.url, time: item.time, step } })
    return item
  }

  #store(id, fields) {
    const items = this.items.get(id)
    const task = this.computers.get(id).lastTask
    const item = {
      number: items.length + 1,
      computer: id,
      task: task?.outcome === 'running' ? task.id : null,
      step: this.computers.get(id).state?.step ?? 0,
      time: this.now(),
      ...fields,
    }
    items.push(item)
    if (!this.#held) this.#feedAll()
    return item
  }

  /** What happens in between reaches the pages together, by the page. */
  atOnce(happens) {
    this.#held = true
    happens()
    this.#held = false
    this.#feedAll()
  }

  #feedAll() {
    for (const page of this.sockets) if (page.watches) this.#feed(page)
  }

  begin(id, text, more = {}) {
    const task = {
      id: `t${++this.#task}`,
      computer: id,
      text,
      from: 'web',
      began: this.now(),
      ended: null,
      steps: 0,
      outcome: 'running',
      answer: '',
      ...more,
    }
    this.tasks.push(task)
    Object.assign(this.computers.get(id), {
      lastTask: task,
      state: this.#state({ ...this.computers.get(id).state, busy: true, step: 0, status: 'Claude is thinking…' }),
    })
    if (task.from === 'phone') this.say(id, 'call', `☎ +1 555 0142 ❯ ${text}`, { time: task.began })
    else this.say(id, 'user', `${task.from === 'web' ? 'web' : 'you'} ❯ ${text}`, { time: task.began })
    this.change(id, {})
    return task
  }

  end(id, outcome, answer = '', more = {}) {
    const computer = this.computers.get(id)
    Object.assign(computer.lastTask, { outcome, answer, steps: computer.state.step, ended: this.now(), ...more })
    this.state(id, { busy: false })
  }

  sound(id, samples) {
    for (const page of this.sockets) if (page.listens === id && page.watches === id) page.send(samples)
  }

  /** Its link is lost; what it said last stays known. */
  goAway(id, since = this.now()) {
    const { lastTask } = this.computers.get(id)
    if (lastTask?.outcome === 'running') Object.assign(lastTask, { outcome: 'unknown', ended: since })
    this.change(id, { online: false, since })
  }

  full(message) {
    this.#full = message
    this.#tellAll({ type: 'full', message })
  }

  cut() {
    for (const page of this.sockets) page.terminate()
  }

  // What pages do.

  #tellAll(message) {
    for (const page of this.sockets) page.send(JSON.stringify(message))
  }

  #join(page) {
    if (this.closesWith) return page.close(this.closesWith)
    this.sockets.add(page)
    page.on('close', () => this.sockets.delete(page))
    page.on('message', (text) => this.#take(page, JSON.parse(text)))
    page.send(JSON.stringify({ type: 'computers', computers: [...this.computers.values()] }))
    if (this.#full) page.send(JSON.stringify({ type: 'full', message: this.#full }))
  }

  #take(page, message) {
    this.heard.push(message)
    if (message.type === 'watch') this.#watch(page, message)
    if (message.type === 'unwatch') page.watches = null
    if (message.type === 'task') this.#hand(page, message)
    if (message.type === 'listen') page.listens = message.on ? message.computer : null
    if (message.type === 'listen') this.change(message.computer, { listening: message.on })
  }

  #watch(page, { computer, after }) {
    const items = this.items.get(computer) ?? []
    Object.assign(page, { watches: computer, sent: after < 0 ? Math.max(0, items.length - NEWEST) : after })
    this.#feed(page)
    page.send(JSON.stringify({ type: 'caughtUp', computer, number: items.length }))
  }

  #feed(page) {
    const items = this.items.get(page.watches)
    for (; page.sent < items.length; page.sent += PAGE)
      page.send(
        JSON.stringify({ type: 'items', computer: page.watches, items: items.slice(page.sent, page.sent + PAGE) }),
      )
    page.sent = items.length
  }

  #hand(page, { computer, text }) {
    if (this.answers === 'begin') this.begin(computer, text)
    else if (this.answers !== 'nothing')
      page.send(JSON.stringify({ type: 'notAccepted', computer, text, why: this.answers }))
  }

  async #answer(request, answer) {
    const url = new URL(request.url, this.address)
    this.requests.push({ method: request.method, path: url.pathname + url.search, headers: request.headers })
    const chunks = []
    for await (const chunk of request) chunks.push(chunk)
    const text = Buffer.concat(chunks).toString()
    answer.sendDate = false
    answer.setHeader('Date', new Date(this.now() * 1000).toUTCString())
    answer.setHeader('Content-Security-Policy', POLICY)
    if (!url.pathname.startsWith('/api/')) return sendFile(request, answer, url.pathname)
    if (url.pathname.startsWith('/api/pictures/')) return sendDrawing(answer, url.pathname)
    const {
      status = 200,
      body,
      headers = {},
    } = this.instead.get(url.pathname) ?? this.#route(request, url, text ? JSON.parse(text) : {})
    if (status === 'never') return
    answer.writeHead(status, { 'Content-Type': 'application/json', ...headers })
    answer.end(body === undefined ? '' : JSON.stringify(body))
  }

  #me() {
    return { body: { account: this.signedIn ? this.account : null, csrf: this.csrf, firstVisit: this.firstVisit } }
  }

  #route(request, url, body) {
    const name = `${request.method} ${url.pathname}`
    if (name === 'GET /api/me') return this.#me()
    if (name === 'POST /api/sign-in')
      return this.#signIn(body.email === this.account.email && body.password === this.password)
    if (name === 'POST /api/first-visit') return this.#signIn(body.code === 'ABCD-1234')
    if (!this.signedIn) return problem(401, 'signedOut', 'Sign in first.')
    if ((request.method !== 'GET' || url.pathname === '/api/verify') && request.headers['x-csrf-token'] !== this.csrf)
      return problem(403, 'forbidden', 'The token is missing.')
    if (name === 'POST /api/sign-out') return this.#signOut()
    if (url.pathname === '/api/verify')
      return this.#verify(request.method, url.searchParams.get('code') ?? body.code, body)
    const [, kind, id, what = ''] = /^\/api\/(\w+)\/([^/]+)\/?(\w*)$/.exec(url.pathname) ?? []
    if (kind === 'tasks') return this.#oneTask(decodeURIComponent(id))
    if (kind === 'computers' && this.computers.has(id))
      return this.#computer(request.method, id, what, url.searchParams, body)
    return problem(404, 'notFound', 'There is nothing at this address.')
  }

  #signIn(good) {
    if (!good) return problem(403, 'wrong', 'That did not match.', { attemptsLeft: 3 })
    this.signedIn = true
    this.firstVisit = false
    return this.#me()
  }

  #signOut() {
    this.signedIn = false
    for (const page of this.sockets) page.close(4401)
    return { status: 204 }
  }

  #verify(method, code, { allow, before }) {
    const asking = this.asking.get(code)
    if (!asking) return problem(404, 'notFound', 'This code is not known, or over.')
    if (method === 'GET') return { body: asking }
    this.heard.push({ type: 'verify', code, allow, before })
    return { status: 204 }
  }

  #oneTask(id) {
    const task = this.tasks.find((one) => one.id === id)
    if (!task) return problem(404, 'notFound', 'This task is not kept.')
    const items = this.items.get(task.computer).filter((item) => item.task === id)
    return { body: { task, items: items.slice(-2000), ...(items.length > 2000 && { cut: true }) } }
  }

  #computer(method, id, what, query, body) {
    if (method === 'DELETE' && what === '') return this.#revoke(id)
    if (method === 'DELETE') return this.#forget(id)
    if (what === 'tasks') return { body: this.#search(id, query) }
    if (method === 'PUT') this.#save(id, body)
    return { body: this.settings.get(id) }
  }

  #revoke(id) {
    this.goAway(id)
    this.change(id, { revoked: true })
    return { status: 204 }
  }

  #forget(id) {
    this.tasks = this.tasks.filter((task) => task.computer !== id)
    this.items.set(id, [])
    this.change(id, { lastTask: null, picture: null })
    return { status: 204 }
  }

  #search(id, query) {
    const search = (query.get('search') ?? '').toLowerCase()
    const mine = this.tasks.filter((task) => task.computer === id).sort((a, b) => b.began - a.began)
    const found = mine.flatMap((task) => this.#found(task, search))
    const from = query.get('before') ? found.findIndex((task) => task.id === query.get('before')) + 1 : 0
    const limit = Number(query.get('limit') ?? 50)
    return { tasks: found.slice(from, from + limit), more: found.length > from + limit, total: mine.length }
  }

  #found(task, search) {
    if (`${task.text}\n${task.answer}`.toLowerCase().includes(search)) return [task]
    const item = this.items
      .get(task.computer)
      .find((one) => one.task === task.id && one.text?.toLowerCase().includes(search))
    const line = item?.text.split('\n').find((one) => one.toLowerCase().includes(search))
    return item ? [{ ...task, match: { step: item.step, kind: item.kind, text: line.trim() } }] : []
  }

  #save(id, { speechKey, ...fields }) {
    const settings = this.settings.get(id)
    Object.assign(settings, fields)
    if (speechKey !== undefined) settings.speechKeySet = speechKey !== ''
    for (const field of Object.keys({ ...fields, ...(speechKey !== undefined && { speechKey }) })) {
      settings.savedAt[field] = this.now()
      settings.arrivedAt[field] = null
    }
  }

  /** The computer asks for its configuration. */
  fetchConfig(id) {
    const settings = this.settings.get(id)
    settings.fetchedAt = this.now()
    for (const field of Object.keys(settings.savedAt)) settings.arrivedAt[field] ??= this.now()
    this.change(id, { fetchedAt: this.now() })
  }
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const [port = '8787', scene = 'busy'] = process.argv.slice(2)
  const { scenes } = await import('./page-scenes.mjs')
  const service = new PageService()
  const path = scenes[scene](service)
  await service.listen(Number(port))
  console.log(service.address + path)
}

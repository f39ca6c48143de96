// What the service and its page say to each other, and what modules hand each other. For the type checker; never served.

interface Account {
  id: string
  email: string
}

interface Me {
  account: Account | null
  csrf: string
  firstVisit: boolean
}

interface ComputerState {
  busy: boolean
  step: number
  calls: string[]
  sharing: boolean
  status: string
  received: number
}

interface Picture {
  id: string
  url: string
  time: number
  step: number
}

interface Computer {
  id: string
  name: string
  platform: string
  signedIn: number
  address: string
  revoked: boolean
  online: boolean
  since: number | null
  state: ComputerState | null
  listening: boolean
  lastTask: TaskRecord | null
  fetchedAt: number | null
  picture: Picture | null
}

type Outcome = 'running' | 'done' | 'answered' | 'unfinished' | 'stopped' | 'failed' | 'unknown'

interface TaskRecord {
  id: string
  computer: string
  text: string
  from: string
  began: number
  ended: number | null
  steps: number
  outcome: Outcome
  answer: string
  match?: { step: number; kind: string; text: string }
}

interface Item {
  number: number
  computer: string
  task: string | null
  step: number
  time: number
  kind: string
  text?: string
  cutFrom?: number
  picture?: string
  url?: string
}

interface Settings {
  systemPrompt: string
  defaultPrompt: string
  greeting: string
  voice: string
  speechKeySet: boolean
  trusted: boolean
  shareAudio: boolean
  savedAt: Record<string, number | null>
  arrivedAt: Record<string, number | null>
  fetchedAt: number | null
}

interface Asking {
  name: string
  platform: string
  address: string
  sameAddress: boolean
  /** Of one of that name that was here before. */
  before: { id: string; online: boolean } | null
  asked: number
  expires: number
}

interface TaskPage {
  tasks: TaskRecord[]
  more: boolean
  total: number
}

interface TaskDetails {
  task: TaskRecord
  items: Item[]
  cut?: boolean
}

type Refused = 'away' | 'busy' | 'timeout' | 'gone'

type ServiceMessage =
  | { type: 'computers'; computers: Computer[] }
  | { type: 'computer'; computer: Computer }
  | { type: 'gone'; computer: string }
  | { type: 'items'; computer: string; items: Item[] }
  | { type: 'caughtUp'; computer: string; number: number }
  | { type: 'notAccepted'; computer: string; text: string; why: Refused }
  | { type: 'full'; message: string }

type PageMessage =
  | { type: 'watch'; computer: string; after: number }
  | { type: 'unwatch' }
  | { type: 'task'; computer: string; text: string }
  | { type: 'cancel'; computer: string }
  | { type: 'listen'; computer: string; on: boolean }

interface Draft {
  text: string
  handedOver: string | null // on its way to the computer, until it has begun or was refused
  note: string // why the text is back
}

interface Link {
  state: 'connecting' | 'open' | 'waiting' | 'ended'
  why: '' | 'tooManyPages' | 'tooManyMessages' // the service has closed it
  nextTry: number // seconds, by the clock of the page
  heard: number // when the service last said something
}

interface Step {
  number: number
  began: number
  scriptAt: number
  scriptEnd: number
  failed: boolean
  picture: Item | null
  ended: number
}

interface Segment {
  number: number
  seconds: number
  thinking: number
  running: number
  failed: boolean
  now: boolean
}

type Tone = 'go' | 'wait' | 'halt' | 'rest'

interface Word {
  word: string
  tone: Tone
  live?: boolean
}

type Child = Node | string | null | undefined | false | Child[]

interface Refusal {
  status: number
  error: string
  message: string
  attemptsLeft?: number
  retryAfter?: number
}

type Topic = 'me' | 'computers' | 'link' | 'items' | 'scene' | 'drafts' | 'stops' | 'full' | 'listening' | 'tick'

interface Stop {
  task: string
  at: number
}

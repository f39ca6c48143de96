// The scenes of the page: what a stand-in of the service holds, and the path to look at.

const SCRIPTS = [
  'tell application "Finder"\n\tset found to name of every file of folder "Downloads" ¬\n\t\tof home whose name extension is "pdf"\nend tell\nreturn found',
  'do shell script "cd ~/Downloads && for f in invoice-*.pdf; do pdftotext $f - | head -5; done"',
  'tell application "Finder"\n\trepeat with one in (every file of folder "Downloads" ¬\n\t\tof home whose name extension is "pdf")\n\t\topen one\n\t\tdelay 0.3\n\tend repeat\nend tell\ntell application "System Events"\n\tset titles to name of every window\nend tell\nreturn titles',
  'tell application "Finder"\n\tset place to folder "Downloads" of home\n\trepeat with m in {"2026-09", "2026-10", "2026-11"}\n\t\tmake new folder at place with properties {name:m}\n\tend repeat\n\trepeat with one in found\n\t\tmove file (name of one) of place to folder (month of one) of place\n\tend repeat\nend tell\nreturn "moved " & (count found)',
  'do shell script "cd ~/Downloads && ls 2026-*/ | wc -l && ls *.pdf | wc -l"',
]
const TASK = 'sort the invoices in Downloads by month'
const ANSWER =
  'All 14 invoices are sorted: 5 in 2026-09, 5 in 2026-10 and 4 in 2026-11. Nothing was renamed or deleted.'

// Seconds after the beginning, kind, text; a picture begins its step.
const STORY = [
  [1, 'picture', 1],
  [11, 'claude', 'claude: I’ll look at what is in Downloads first, without moving anything.'],
  [11, 'code', SCRIPTS[0]],
  [
    13,
    'result',
    '✓ script ok (1.4s): invoice-0117.pdf, invoice-0118.pdf, invoice-0119.pdf, invoice-0120.pdf and 10 more',
  ],
  [14, 'picture', 2],
  [
    29,
    'claude',
    'claude: There are 14 invoices. I’ll read the date inside each one, so that the month is the invoice’s and not the download’s.',
  ],
  [29, 'code', SCRIPTS[1]],
  [30, 'bad', '✗ script failed (0.6s): execution error: sh: pdftotext: command not found (127)'],
  [31, 'picture', 3],
  [
    55,
    'claude',
    'claude: That tool isn’t there. The viewer can show the date; I’ll open them one after the other and read it from the window.',
  ],
  [55, 'code', SCRIPTS[2]],
  [58, 'warn', 'Still working on the last task — press Stop to cancel it.'],
  [61, 'result', '✓ script ok (5.8s): 5 in September, 5 in October, 4 in November'],
  [62, 'picture', 4],
  [69, 'claude', 'claude: The dates are clear. I’ll make three folders and move the files, nothing else.'],
  [69, 'code', SCRIPTS[3]],
  [72, 'result', '✓ script ok (3.2s): moved 14'],
  [73, 'picture', 5],
  [84, 'claude', 'claude: I’ll count what is in each folder, to be sure that nothing was left over.'],
  [84, 'code', SCRIPTS[4]],
  [86, 'result', '✓ script ok (0.3s): 14 0'],
  [87, 'picture', 6],
  [96, 'good', `✓ ${ANSWER}`],
]

const byTerm = (kind, text) => (kind === 'code' ? `script:\n${text}` : text)

function tell(service, id, story, began, what = 'files') {
  for (const [after, kind, words] of story) {
    const time = began + after
    if (kind === 'picture') service.state(id, { step: words })
    if (kind === 'picture') service.picture(id, words, { time }, what)
    else service.say(id, kind, byTerm(kind, words), { time })
  }
}

function sorting(service, ago, lines = STORY.length) {
  const began = service.now() - ago
  const task = service.begin('workshop', TASK, { began })
  tell(service, 'workshop', STORY.slice(0, lines), began)
  return task
}

const DAY = 86400
const PAST = [
  [0.05, 'rename the scans by date', 'done', 'Renamed 31 scans; two had no date and were left as they are.', 7],
  [0.7, 'close every window but the browser', 'stopped', '', 2],
  [0.77, 'print the delivery notes', 'unfinished', '', 15],
  [1.9, 'how many invoices came in October', 'done', 'Five.', 3, 'phone'],
  [1.95, 'make a backup of Documents', 'failed', 'no room left on the disk', 3],
  [2.1, 'make a list of the open invoices', 'done', 'The list is on the desktop as open.txt; it has 4 lines.', 5],
]

function past(service, id = 'workshop') {
  for (const [days, text, outcome, answer, steps, from = 'web'] of [...PAST].reverse()) {
    const began = service.now() - days * DAY
    const task = service.begin(id, text, { began, from })
    service.say(id, 'code', 'script:\ncp -a ~/Documents/invoices /mnt/backup', { time: began + 3, step: steps })
    service.end(id, outcome, answer, { ended: began + 80, steps })
    task.steps = steps
  }
}

function workshop(service, more = {}) {
  const computer = service.addComputer('workshop', { since: service.now() - 9700, ...more })
  return computer
}

const NOW = '/computers/workshop'

export const scenes = {
  signIn: (service) => ((service.signedIn = false), '/'),
  firstVisit: (service) => ((service.signedIn = false), (service.firstVisit = true), '/'),
  verify(service) {
    service.asking.set('KTHR-4821', {
      name: 'workshop',
      platform: 'linux',
      address: '192.0.2.17',
      sameAddress: true,
      asked: service.now() - 125,
      expires: service.now() + 775,
    })
    return '/verify?code=KTHR-4821'
  },
  verifyOther(service) {
    service.asking.set('PW9F-2270', {
      name: 'annex',
      platform: 'macos',
      address: '203.0.113.80',
      sameAddress: false,
      asked: service.now() - 840,
      expires: service.now() + 60,
    })
    return '/verify?code=PW9F-2270'
  },
  verifyAsk: () => '/verify',
  empty: () => '/',
  computers(service) {
    workshop(service)
    sorting(service, 71, 15)
    service.addComputer('reception')
    service.begin('reception', 'when do we open on Monday', { from: 'phone' })
    service.picture('reception', 2, {}, 'letter')
    service.state('reception', { calls: ['+1 555 0142'], step: 2 })
    service.addComputer('studio')
    service.begin('studio', 'rename the scans by date', { began: service.now() - DAY * 0.7 })
    service.picture('studio', 5, {}, 'files')
    service.end('studio', 'done', 'Renamed 31 scans.', { ended: service.now() - DAY * 0.7 + 80 })
    service.addComputer('hall', { since: service.now() - 9000 })
    service.begin('hall', 'print the delivery notes', { began: service.now() - 9300 })
    service.picture('hall', 2, {}, 'files')
    service.end('hall', 'unfinished', '', { ended: service.now() - 9100 })
    service.goAway('hall', service.now() - 9000)
    service.addComputer('attic', { online: false, since: service.now() - DAY * 12, revoked: true })
    service.begin('attic', 'tidy up the desktop', { began: service.now() - DAY * 12.1 })
    service.end('attic', 'done', 'It is tidy.', { ended: service.now() - DAY * 12.1 + 60 })
    service.addComputer('annex', { online: false, since: null, state: null, signedIn: service.now() - 190 })
    return '/'
  },
  idle: (service) => (workshop(service), past(service), NOW),
  idleNew: (service) => (workshop(service), NOW),
  never: (service) => (workshop(service, { online: false, since: null, state: null }), NOW),
  busy(service) {
    workshop(service)
    sorting(service, 71, 16)
    service.state('workshop', { status: 'running script (step 4)' })
    return NOW
  },
  finished(service) {
    workshop(service)
    sorting(service, 120)
    service.end('workshop', 'done', ANSWER, { ended: service.now() - 24, steps: 6 })
    return NOW
  },
  stopped(service) {
    workshop(service)
    sorting(service, 90, 14)
    service.say('workshop', 'warn', 'Stop pressed on the website — cancelling', { time: service.now() - 25 })
    service.say('workshop', 'warn', 'cancelled', { time: service.now() - 24 })
    service.end('workshop', 'stopped', '', { ended: service.now() - 24 })
    return NOW
  },
  failed(service) {
    workshop(service)
    sorting(service, 90, 14)
    service.say('workshop', 'bad', '✗ no room left on the disk', { time: service.now() - 24 })
    service.end('workshop', 'failed', '✗ no room left on the disk', { ended: service.now() - 24 })
    return NOW
  },
  unfinished(service) {
    workshop(service)
    sorting(service, 120, 21)
    service.say('workshop', 'warn', '── hit max steps (15) — type a follow-up to continue', {
      time: service.now() - 24,
    })
    service.end('workshop', 'unfinished', '', { ended: service.now() - 24, steps: 15 })
    return NOW
  },
  away(service) {
    workshop(service)
    sorting(service, 3600, 15)
    service.goAway('workshop', service.now() - 3529)
    return NOW
  },
  full: (service) => (
    service.full('What comes now is not kept. Nothing that was kept is lost.'), scenes.busy(service)
  ),
  revoked: (service) => (
    workshop(service), past(service), service.goAway('workshop'), service.change('workshop', { revoked: true }), NOW
  ),
  call(service) {
    const begin = service.now() - 32
    workshop(service)
    service.state('workshop', { calls: ['+1 555 0142'], sharing: true })
    const words = [
      [0, 'call', '☎ call from +1 555 0142 connected'],
      [1, 'said', 'ombru: Hey, what can I help you with?'],
      [7, 'heard', '+1 555 0142: When do we open on Monday? It should be in the opening hours file.'],
      [8, 'said', 'ombru: On it.'],
    ]
    tell(service, 'workshop', words, begin)
    service.begin('workshop', 'When do we open on Monday? It should be in the opening hours file.', {
      from: 'phone',
      began: begin + 8,
    })
    const steps = [
      [9, 'picture', 1],
      [19, 'claude', 'claude: I’ll open the file “Opening hours” in Documents.'],
      [19, 'code', 'tell application "TextEdit"\n\tactivate\n\topen "~/Documents/Opening hours.txt"\nend tell'],
      [21, 'result', '✓ script ok (1.1s): document Opening hours.txt'],
      [22, 'picture', 2],
    ]
    tell(service, 'workshop', steps, begin, 'letter')
    return NOW
  },
  callIdle(service) {
    const begin = service.now() - 12
    workshop(service)
    service.state('workshop', { calls: ['+1 555 0142'] })
    tell(
      service,
      'workshop',
      [
        [0, 'call', '☎ call from +1 555 0142 connected'],
        [1, 'said', 'ombru: Hey, what can I help you with?'],
      ],
      begin,
    )
    return NOW
  },
  tasks(service) {
    workshop(service)
    past(service)
    sorting(service, 2000)
    service.end('workshop', 'done', ANSWER, { ended: service.now() - 1904, steps: 6 })
    return '/computers/workshop/tasks'
  },
  search: (service) => `${scenes.tasks(service)}?search=invoice`,
  searchNone: (service) => `${scenes.tasks(service)}?search=receipt`,
  tasksNone: (service) => (workshop(service), '/computers/workshop/tasks'),
  task(service) {
    scenes.tasks(service)
    return `/tasks/${service.tasks.at(-1).id}`
  },
  settings(service) {
    workshop(service)
    const settings = service.settings.get('workshop')
    Object.assign(settings, { trusted: false })
    Object.assign(settings.savedAt, { systemPrompt: service.now() - 500, trusted: service.now() - 12 })
    settings.arrivedAt.systemPrompt = service.now() - 470
    return '/computers/workshop/settings'
  },
  loading(service) {
    workshop(service)
    service.instead.set('/api/computers/workshop/settings', { status: 'never' })
    return '/computers/workshop/settings'
  },
  broken(service) {
    workshop(service)
    service.instead.set('/api/computers/workshop/tasks', {
      status: 500,
      body: { error: '', message: 'The service answered 500.' },
    })
    return '/computers/workshop/tasks'
  },
}

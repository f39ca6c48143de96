// The same journey on a phone.
import { test } from 'node:test'
import { journey } from './journey.mjs'

const PHONE = { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true }

test('a first visit, a task, Stop, listening, a lost link, and signing the computer out, by touch', () =>
  journey(PHONE))

// A computer, a service and a browser, from the first visit to signing the computer out.
import { test } from 'node:test'
import { journey } from './journey.mjs'

test('a first visit, a task, Stop, listening, a lost link, and signing the computer out', () => journey())

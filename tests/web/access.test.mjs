// Accessibility of every scene, by axe: on a wide screen by day, on a phone by night.
import assert from 'node:assert/strict'
import { readFileSync } from 'node:fs'
import { createRequire } from 'node:module'
import { after, test } from 'node:test'
import { scenes } from '../support/page-scenes.mjs'
import { closeBrowser, onScene } from './browser.mjs'

after(closeBrowser)

const AXE = readFileSync(
  createRequire(import.meta.url).resolve(`${process.env.OMBRU_AXE ?? 'axe-core'}/axe.min.js`),
  'utf8',
)
const LOOKS = [
  { colorScheme: 'light' },
  { colorScheme: 'dark', viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true },
]

for (const scene of Object.keys(scenes))
  for (const look of LOOKS)
    test(`${scene}, ${look.colorScheme}`, () =>
      onScene(
        scene,
        async (page) => {
          await page.waitForSelector(scene === 'loading' ? '.bones' : 'main :is(h1, h2, .chip, .note):visible')
          await page.waitForSelector('h1:not(:empty)', { state: 'attached' }) // a computer's name comes with its socket
          const { violations } = await page.evaluate(`${AXE}; axe.run(document, { resultTypes: ['violations'] })`)
          const told = violations.map(
            ({ id, nodes }) => `${id}: ${nodes.map((node) => `${node.html}\n  ${node.failureSummary}`).join('\n')}`,
          )
          assert.deepEqual(told, [])
        },
        { ...look, expected: /500/ },
      ))

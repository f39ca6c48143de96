// What the page is made of: how much there is to transfer, and what its content policy asks of it.
import assert from 'node:assert/strict'
import { readdirSync, readFileSync } from 'node:fs'
import { join } from 'node:path'
import { test } from 'node:test'
import { fileURLToPath } from 'node:url'
import { gunzipSync } from 'node:zlib'
import { sentForm } from '../support/page-files.mjs'

const WEB = fileURLToPath(new URL('../../service/web/', import.meta.url))
const files = readdirSync(WEB, { recursive: true }).filter((name) => /\.(js|css|html|svg|webmanifest)$/.test(name))
const read = (name) => readFileSync(join(WEB, name), 'utf8')
const modules = files.filter((name) => name.endsWith('.js'))

test('all that is no picture is 60 kB at most, compressed (gzip -9), and without comments', () => {
  const sizes = files.map((name) => sentForm(join(WEB, name)).length)
  const sum = sizes.reduce((all, one) => all + one, 0)
  assert.ok(sum <= 60_000, `${sum} bytes`)
})

test('what is sent has the lines of its source, and of each but a comment all', () => {
  for (const name of modules) {
    const sent = gunzipSync(sentForm(join(WEB, name))).toString().split('\n')
    const source = read(name).split('\n')
    assert.equal(sent.length, source.length, name)
    const gone = source.filter((line, at) => sent[at] !== line)
    assert.ok(sent.every((line, at) => line === '' || line === source[at]), name)
    for (const line of gone) assert.match(line, /^\s*(\/\/|\/?\*)/, name)
    for (const line of source) assert.equal((line.match(/`/g) ?? []).length % 2, 0, `${name}: a text over lines: ${line}`)
  }
})

test('the document names every module, so that none waits for another', () => {
  const named = [...read('index.html').matchAll(/(?:href|src)="\/web\/([^"]+\.js)"/g)].map((found) => found[1])
  const later = ['sound/worklet.js']
  assert.deepEqual(named.sort(), modules.filter((name) => !later.includes(name)).sort())
})

test('nothing is written as markup, and no style or script stands in the document', () => {
  for (const name of modules)
    assert.doesNotMatch(
      read(name),
      /innerHTML|outerHTML|insertAdjacentHTML|document\.write|\beval\(|new Function|'style'/,
      name,
    )
  assert.doesNotMatch(read('index.html'), /\sstyle=|<style|\son\w+=|<script(?![^>]*src=)/)
})

test('nothing is loaded from another host', () => {
  for (const name of files)
    assert.deepEqual(
      [...read(name).matchAll(/https?:\/\/[^\s"')]+/g)]
        .map(String)
        .filter((found) => found !== 'http://www.w3.org/2000/svg'),
      [],
      name,
    )
})

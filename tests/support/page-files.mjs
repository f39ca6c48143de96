// The files of the page as the service sends them, compressed, and drawings in the place of its pictures.
import { createHash } from 'node:crypto'
import { readFileSync, statSync } from 'node:fs'
import { extname, join, normalize } from 'node:path'
import { fileURLToPath } from 'node:url'
import { gzipSync } from 'node:zlib'
import { desk } from './desk-drawing.mjs'

const WEB = fileURLToPath(new URL('../../service/web/', import.meta.url))
const TYPES = {
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript',
  '.css': 'text/css',
  '.svg': 'image/svg+xml',
  '.png': 'image/png',
  '.webmanifest': 'application/manifest+json',
}

// Lines of comments are not sent; they are left empty.
const COMMENT = /^[ \t]*(\/\/.*|\/\*\*((?!\*\/)[^])*\*\/)$/gm

/** A file as it is sent. */
export function sentForm(file) {
  const bytes = readFileSync(file)
  const withoutComments = () => bytes.toString().replace(COMMENT, (found) => found.replace(/[^\n]/g, ''))
  return gzipSync(file.endsWith('.js') ? withoutComments() : bytes, { level: 9 })
}

export function sendFile(request, answer, path) {
  const inside = normalize(path.startsWith('/web/') ? path.slice(5) : 'index.html')
  const file = join(WEB, inside)
  if (inside.startsWith('..') || !statSync(file, { throwIfNoEntry: false })?.isFile())
    return answer.writeHead(404).end()
  const content = sentForm(file)
  const tag = `"${createHash('sha256').update(content).digest('hex').slice(0, 16)}"`
  const headers = {
    'Content-Type': TYPES[extname(file)] ?? 'application/octet-stream',
    ETag: tag,
    'Cache-Control': 'no-cache',
    'Content-Encoding': 'gzip',
  }
  if (request.headers['if-none-match'] === tag) return answer.writeHead(304, headers).end()
  answer.writeHead(200, headers).end(content)
}

export function sendDrawing(answer, path) {
  const [, what, step] = /p\d+-(\w+)-(\d+)$/.exec(path) ?? []
  answer.writeHead(what ? 200 : 404, {
    'Content-Type': 'image/svg+xml',
    'Cache-Control': 'no-store',
  })
  answer.end(what ? desk(what, Number(step)) : '')
}

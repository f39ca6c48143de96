// Drawings of a desktop, in the place of screenshots: a window, more or less full, as a task goes on.

const rect = (x, y, width, height, fill, more = '') =>
  `<rect x="${x}" y="${y}" width="${width}" height="${height}" fill="${fill}" ${more}/>`
const text = (x, y, words, fill = '#2b3236', size = 16) =>
  `<text x="${x}" y="${y}" font-size="${size}" fill="${fill}">${words}</text>`

function wall() {
  return (
    rect(0, 0, 1280, 800, '#4f6870') +
    '<path d="M0 540C260 450 430 640 720 560S1120 440 1280 520V800H0z" fill="#43595f"/>' +
    '<path d="M0 680C300 600 520 740 820 670S1180 600 1280 640V800H0z" fill="#394c52"/>' +
    rect(0, 0, 1280, 32, '#20292d') +
    text(28, 22, 'Files', '#e9ecec') +
    text(1212, 22, '10:43', '#c9d0d1', 14)
  )
}

function frame(title) {
  return (
    rect(170, 92, 940, 610, '#263237', 'rx="8" opacity=".45" transform="translate(5 7)"') +
    rect(170, 92, 940, 610, '#fbfaf7', 'rx="8"') +
    '<path d="M170 132V100a8 8 0 0 1 8-8h924a8 8 0 0 1 8 8v32z" fill="#e6e2da"/>' +
    [196, 222, 248].map((x) => `<circle cx="${x}" cy="112" r="7" fill="#bdb7ab"/>`).join('') +
    text(600, 118, title)
  )
}

function files(step) {
  const folders = step > 3 ? ['2026-09', '2026-10', '2026-11'].slice(0, step - 3) : []
  const invoices = Array.from({ length: Math.max(1, 10 - folders.length * 3) }, (_, at) => `invoice-01${17 + at}.pdf`)
  const rows = [...folders, ...invoices].slice(0, 11)
  return (
    frame('Downloads') +
    rect(170, 132, 200, 562, '#f0eee9') +
    ['Home', 'Documents', 'Downloads', 'Pictures'].map((name, at) => text(212, 180 + at * 46, name)).join('') +
    rows
      .map((name, at) => {
        const y = 172 + at * 44
        const chosen = at === (step * 2) % rows.length
        return (
          (chosen ? rect(386, y - 24, 708, 36, '#0e5673', 'rx="4"') : '') +
          rect(402, y - 17, 22, 20, name.startsWith('2026') ? '#8fb0bb' : '#c9c7bd', 'rx="3"') +
          text(440, y, name, chosen ? '#ffffff' : '#2b3236')
        )
      })
      .join('')
  )
}

function letter(step) {
  const lines = Array.from({ length: 4 + step * 2 }, (_, at) =>
    rect(300, 190 + at * 38, 360 + ((at * 137) % 310), 12, '#bdb7ab', 'rx="3"'),
  )
  return frame('Opening hours') + lines.slice(0, 12).join('')
}

/** @param {string} what "files", "letter" or "empty" @param {number} step */
export function desk(what, step) {
  const inside = what === 'files' && step > 1 ? files(step) : what === 'letter' ? letter(step) : ''
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 1280 800" width="1280" height="800" font-family="system-ui, sans-serif">${wall()}${inside}</svg>`
}

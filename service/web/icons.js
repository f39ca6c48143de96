// The drawings on buttons and rows: 16 units, lines of one width, in the colour of the text beside them.

const NAMESPACE = 'http://www.w3.org/2000/svg'

/** Paths; an upper-case name is filled. @type {Record<string, string>} */
const DRAWINGS = {
  person: 'M8 2.2a2.8 2.8 0 1 0 0 5.6a2.8 2.8 0 1 0 0-5.6zM2.8 13.8c.5-2.9 2.5-4.3 5.2-4.3s4.7 1.4 5.2 4.3',
  listen: 'M2.5 6.2v3.6h2.4L8.5 12.8V3.2L4.9 6.2zM11 5.8a3.2 3.2 0 0 1 0 4.4M12.9 3.9a5.8 5.8 0 0 1 0 8.2',
  STOP: 'M5 4h6a1 1 0 0 1 1 1v6a1 1 0 0 1-1 1H5a1 1 0 0 1-1-1V5a1 1 0 0 1 1-1z',
  square: 'M4.5 3h7A1.5 1.5 0 0 1 13 4.5v7a1.5 1.5 0 0 1-1.5 1.5h-7A1.5 1.5 0 0 1 3 11.5v-7A1.5 1.5 0 0 1 4.5 3z',
  check: 'M3 8.5l3.2 3.2L13 4.8',
  warning: 'M8 2.5L14.3 13.2H1.7zM8 6.5v3M8 11.3v.1',
  cross: 'M4 4l8 8M12 4l-8 8',
  enlarge: 'M9.5 2.5h4v4M6.5 13.5h-4v-4M13.5 2.5L9 7M2.5 13.5L7 9',
  copy: 'M6.5 5.5h6a1 1 0 0 1 1 1v6a1 1 0 0 1-1 1h-6a1 1 0 0 1-1-1v-6a1 1 0 0 1 1-1zM10.5 2.5h-7a1 1 0 0 0-1 1v7',
  away: 'M2 2l12 12M4 4H3a1.2 1.2 0 0 0-1.2 1.2v5A1.2 1.2 0 0 0 3 11.4h8.4M7 2.8h6a1.2 1.2 0 0 1 1.2 1.2v6.2M5.5 13.8h5',
  phone:
    'M3.5 2.5l2.3-.5 1.4 3.2-1.5 1.2a9 9 0 0 0 3.9 3.9l1.2-1.5 3.2 1.4-.5 2.3a1.3 1.3 0 0 1-1.4 1A10.6 10.6 0 0 1 2.5 3.9a1.3 1.3 0 0 1 1-1.4z',
  info: 'M8 2a6 6 0 1 0 0 12a6 6 0 1 0 0-12zM8 7.3v3.7M8 5v.1',
  back: 'M10 3L5 8l5 5',
  computer:
    'M3 2.8h10a1.2 1.2 0 0 1 1.2 1.2v6.2a1.2 1.2 0 0 1-1.2 1.2H3a1.2 1.2 0 0 1-1.2-1.2V4A1.2 1.2 0 0 1 3 2.8zM5.5 13.8h5',
  running: 'M8 2a6 6 0 1 0 0 12a6 6 0 1 0 0-12zM8 4.8V8l2.2 1.6',
  unknown: 'M8 2a6 6 0 1 0 0 12a6 6 0 1 0 0-12zM5.5 8h5',
}

/** @param {string} name @param {Record<string, string>} attributes */
function shape(name, attributes) {
  const made = document.createElementNS(NAMESPACE, name)
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value)
  return made
}

/** @param {string} name @param {string} [tone] */
export function icon(name, tone = '') {
  const made = shape('svg', { class: `i ${tone}`.trim(), viewBox: '0 0 16 16', 'aria-hidden': 'true' })
  made.append(shape('path', { d: DRAWINGS[name] ?? '', ...(name === 'STOP' && { fill: 'currentColor' }) }))
  return made
}

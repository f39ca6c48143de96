// Modules of the page, in Node: they lie where no package says that they are modules.
import { register } from 'node:module'

const hook = `export const load = (url, context, next) =>
  next(url, /\\/service\\/web\\/.*\\.js$/.test(url) ? { ...context, format: 'module' } : context)`
register(`data:text/javascript,${encodeURIComponent(hook)}`)

/** @param {string} name */
export const load = (name) => import(new URL(`../../service/web/${name}`, import.meta.url))

// What a large page costs in the browser: node load_times.mjs <page>...
// Each line: the page, the seconds until its tree can be used, the milliseconds of the first things that a reader does
// (until the browser has laid out what they change), and the memory of the page's process.
import fs from 'node:fs';
import {execFileSync} from 'node:child_process';
import path from 'node:path';
import {pathToFileURL} from 'node:url';

import {chromium} from 'playwright-core';

import {browserFlags, browserPath} from './browser.mjs';

const actions = {
  'hover': () => document.getElementById('J2').dispatchEvent(new MouseEvent('mouseover', {bubbles: true})),
  'click': () => document.getElementById('J2').click(),
  'collapse': () => document.getElementById('Q1').click(),
  'expand': () => document.getElementById('Q1').click(),
  'collapse part': () => document.getElementById('Q2').click(),
  'expand part': () => document.getElementById('Q2').click(),
};

/** The largest process is the one that holds the page. */
function largestResidentMegabytes(browserProcess) {
  const lines = execFileSync('ps', ['-eo', 'pid,ppid,rss'], {encoding: 'utf8'}).trim().split('\n').slice(1);
  const all = lines.map((line) => line.trim().split(/\s+/).map(Number));
  const ours = new Set([browserProcess]);
  for (let before = 0; before !== ours.size;) {
    before = ours.size;
    for (const [pid, parent] of all) if (ours.has(parent)) ours.add(pid);
  }
  return Math.max(...all.filter(([pid]) => ours.has(pid)).map(([, , rss]) => rss)) / 1024;
}

async function measure(browser, file) {
  const page = await browser.newPage({viewport: {width: 1280, height: 800}});
  const start = performance.now();
  await page.goto(pathToFileURL(file).href, {timeout: 300000});
  await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => setTimeout(done))));
  const load = (performance.now() - start) / 1000;
  const elements = await page.evaluate(() => Object.keys(descDefs).length - 1);
  const times = [];
  for (const [name, action] of Object.entries(actions)) {
    const time = await page.evaluate(async (text) => {
      await new Promise((done) => requestAnimationFrame(() => setTimeout(done)));
      const begin = performance.now();
      eval('(' + text + ')()');
      document.body.getBoundingClientRect();
      return performance.now() - begin;
    }, action.toString());
    times.push(`${name} ${time.toFixed(0)}`);
  }
  await page.close();
  return {elements, load, times};
}

for (const file of process.argv.slice(2)) {
  const server = await chromium.launchServer({executablePath: browserPath, args: browserFlags});
  const browser = await chromium.connect(server.wsEndpoint());
  try {
    const page = measure(browser, file);
    let memory = 0;
    const watch = setInterval(() => { memory = Math.max(memory, largestResidentMegabytes(server.process().pid)); }, 250);
    const {elements, load, times} = await page.finally(() => clearInterval(watch));
    const size = fs.statSync(file).size / 1e6;
    console.log(`${path.basename(file)}: ${elements} elements, ${size.toFixed(0)} MB; load ${load.toFixed(1)} s, ` +
      `at most ${memory.toFixed(0)} MB of memory; ms: ${times.join(', ')}`);
  } finally {
    await browser.close();
    await server.close();
  }
}

// One browser for a test file, and pages that know when something went wrong in them.
// NIMBO_PAGES names the folder of the sample pages, NIMBO_CHROMIUM the browser if it stands in an unusual place.
import assert from 'node:assert/strict';
import path from 'node:path';
import {after, before} from 'node:test';
import {pathToFileURL} from 'node:url';

import {chromium} from 'playwright-core';

export const browserPath = process.env.NIMBO_CHROMIUM || '/usr/bin/chromium';
export const browserFlags = [
  '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync',
];

let browser;

/** To be called once by each test file. */
export function useBrowser() {
  before(async () => {
    browser = await chromium.launch({executablePath: browserPath, args: browserFlags});
  });
  after(() => browser.close());
}

export function pageUrl(name) {
  assert.ok(process.env.NIMBO_PAGES, 'NIMBO_PAGES must name the folder of the sample pages');
  return pathToFileURL(path.join(process.env.NIMBO_PAGES, name + '.html')).href;
}

/**
 * Opens a sample page, lets `use` work on it, and expects that there was no script error, nothing in the console, no
 * request beyond the file, and no alert that the test did not take from `alerts`.
 */
export async function withPage(name, use, {width = 1280, height = 800, hash = ''} = {}) {
  const page = await browser.newPage({viewport: {width, height}});
  page.setDefaultTimeout(15000);
  const trouble = [];
  const requests = [];
  const alerts = [];
  page.on('pageerror', (error) => trouble.push('error: ' + error.message));
  page.on('console', (message) => trouble.push('console: ' + message.text()));
  page.on('request', (request) => requests.push(request.url()));
  page.on('dialog', (dialog) => {
    alerts.push(dialog.message());
    dialog.accept();
  });
  try {
    await page.goto(pageUrl(name) + hash);
    await use(page, alerts);
    assert.deepEqual(trouble, []);
    assert.deepEqual(requests, [pageUrl(name)]);
    assert.deepEqual(alerts, []);
  } finally {
    await page.close();
  }
}

/** The entries of the tree, in the order of the page. */
export function entries(page) {
  return page.locator('div.content span.entry');
}

export function expanders(page) {
  return page.locator('div.content span.expander');
}

/** The names and addresses of the descriptions that can be seen, in order. */
export async function shownDescriptions(page) {
  return page.evaluate(() => Array.from(document.querySelectorAll('div.desc_tbl_inner > div.desc'))
    .filter((desc) => getComputedStyle(desc).display !== 'none').map((desc) => desc.id));
}

export async function style(locator, property) {
  return locator.evaluate((obj, name) => getComputedStyle(obj)[name], property);
}

/** Away from everything that reacts to the mouse. */
export async function moveAway(page) {
  await page.mouse.move(1200, 780);
}

export function rgb(hex) {
  const part = (at) => parseInt(hex.substring(at, at + 2), 16);
  return `rgb(${part(1)}, ${part(3)}, ${part(5)})`;
}

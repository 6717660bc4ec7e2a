// Makes pictures of report pages: node screenshots.mjs <folder of the demo's page> <folder of the sample pages>
//   <folder of the README's pictures> <folder of the others>
// The README shows the demo's page in use. The others are for our own eyes: what is hard to lay out, wide and narrow.
import path from 'node:path';
import {pathToFileURL} from 'node:url';

import {chromium} from 'playwright-core';

import {browserFlags, browserPath} from './browser.mjs';

const [demo, samples, images, others] = process.argv.slice(2).map((folder) => path.resolve(folder));

/** Each: page, picture, size of the window, and what is done before. */
const pictures = [
  [demo, 'debian', images, 'report-page', [1100, 620], async (page) => {
    await entry(page, 'InstalledPackage "libquill1"').click();
    await entry(page, 'Section "libs"').click();
    await entry(page, 'Maintainer "').hover();
  }],
  [demo, 'debian', images, 'report-page-legend', [1100, 300], async (page) => {
    await foldAll(page, 'InstalledPackage', 4);
    await page.locator('#legend').click();
    await page.locator('#colors').click();
  }],
  [demo, 'debian', others, 'narrow', [520, 700], async (page) => {
    await entry(page, 'InstalledPackage "libquill1"').click();
  }],
  [samples, 'typical', others, 'typical', [1280, 800], async (page) => {
    for (const id of ['J2', 'J3', 'J4', 'J5']) await page.locator(`div.content #${id}`).first().click();
  }],
  [samples, 'typical', others, 'all-colours', [1280, 800], async (page) => {
    for (let n = 2; n < 11; ++n) await page.locator(`div.content #J${n}`).first().click();
  }],
  [samples, 'empty', others, 'empty', [1000, 400]],
  [samples, 'long-names', others, 'long-names', [1280, 500], clickAll],
  [samples, 'long-names', others, 'long-names-narrow', [520, 700], clickAll],
  [samples, 'hostile', others, 'texts-of-several-scripts', [1280, 900], clickAll],
  [samples, 'deep', others, 'deep', [1280, 500], async (page) => {
    await page.evaluate(() => { location.hash = '#40'; });
  }],
  [samples, 'expressions', others, 'expressions', [1280, 400], async (page) => {
    await page.locator('span.expr > span.bracket').click({button: 'right'});
  }],
  [samples, 'large', others, 'large-folded', [1280, 400], async (page) => {
    await page.locator('#Q2').click();
    await page.locator('#Q53').click();
  }],
];

function entry(page, text) {
  return page.locator('div.content span.entry', {hasText: text.replaceAll(' ', '\u00a0')}).first();
}

async function clickAll(page) {
  for (const one of (await page.locator('div.content span.entry').all()).slice(0, 6)) await one.click();
}

/** Folds elements of this class, so that more of them fit into the picture. */
async function foldAll(page, cls, count) {
  for (const one of (await page.locator('div.content span.entry', {hasText: cls}).all()).slice(0, count)) {
    const id = await one.getAttribute('id');
    const expander = page.locator('#Q' + id.substring(1));
    if (await expander.count() > 0) await expander.click();
  }
}

const browser = await chromium.launch({executablePath: browserPath, args: browserFlags});
try {
  for (const [folder, name, target, picture, [width, height], prepare] of pictures) {
    const page = await browser.newPage({viewport: {width, height}});
    await page.goto(pathToFileURL(path.join(folder, name + '.html')).href);
    if (prepare) await prepare(page);
    await page.waitForTimeout(200);
    await page.screenshot({path: path.join(target, picture + '.png')});
    await page.close();
  }
} finally {
  await browser.close();
}

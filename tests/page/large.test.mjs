// Large and deep models. The times are far above what was measured, so that a busy machine does not fail them, and far
// below what a page takes whose tree is laid out as one piece.
import assert from 'node:assert/strict';
import {test} from 'node:test';

import {entries, expanders, moveAway, shownDescriptions, useBrowser, withPage} from './browser.mjs';

useBrowser();

async function within(milliseconds, action) {
  const start = performance.now();
  const result = await action();
  const took = performance.now() - start;
  assert.ok(took < milliseconds, `took ${took.toFixed(0)} ms, may take ${milliseconds}`);
  return result;
}

/** The height of the lines of the tree, however much of it was laid out. */
const lineCount = (page) => page.evaluate(() => document.querySelectorAll('div.content br').length);

test('a tree of 10000 elements is usable soon', () => within(12000, () => withPage('large', async (page) => {
  await within(2000, () => entries(page).nth(2).hover());
  assert.deepEqual(await shownDescriptions(page), ['D3']);
  await within(2000, () => expanders(page).first().click());
  await within(2000, () => expanders(page).first().click());
  await moveAway(page);
})));

test('cutting a tree into blocks changes neither its text nor its ids', () => withPage('large', async (page) => {
  const same = await page.evaluate(async () => {
    const before = contentPane.textContent;
    const ids = Array.from(contentPane.querySelectorAll('[id]'), (obj) => obj.id).join();
    for (const div of Array.from(contentPane.querySelectorAll('div.lines')).reverse()) div.replaceWith(...div.childNodes);
    contentPane.normalize();
    const loose = contentPane.textContent === before;
    cutTreeIntoBlocks();
    return [loose, contentPane.textContent === before,
      Array.from(contentPane.querySelectorAll('[id]'), (obj) => obj.id).join() === ids,
      contentPane.querySelectorAll('div.lines').length > 100];
  });
  assert.deepEqual(same, [true, true, true, true]);
}));

test('blocks do not add or lose a line on the screen', () => withPage('large', async (page) => {
  const heights = await page.evaluate(() => {
    const all = document.createElement('style');
    all.textContent = 'div.lines { content-visibility: visible !important; }';
    document.head.appendChild(all);
    const cut = contentPane.scrollHeight;
    for (const div of Array.from(contentPane.querySelectorAll('div.lines')).reverse()) div.replaceWith(...div.childNodes);
    return [cut, contentPane.scrollHeight];
  });
  assert.ok(Math.abs(heights[0] - heights[1]) < 20, heights.join());
  assert.ok(await lineCount(page) > 60000);
}));

test('a link reaches a far part of a large tree', () => withPage('large', async (page) => {
  await page.waitForFunction(() => {
    const at = document.getElementsByName('9000')[0].getBoundingClientRect().top;
    return at > 0 && at < window.innerHeight;
  });
}, {hash: '#9000'}));

test('a tree deeper than the browser nests is shown to its end', () => withPage('deep', async (page) => {
  assert.equal(await entries(page).last().textContent(), 'Leaf');
  await page.evaluate(() => { location.hash = '#301'; });
  await page.waitForFunction(() => {
    const at = document.getElementsByName('301')[0].getBoundingClientRect().top;
    return at > 0 && at < window.innerHeight;
  });
}));

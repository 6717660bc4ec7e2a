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

/** What the reader meets. Heights of blocks that were never in sight are estimates, so a few lines more or less do. */
const look = (page) => page.evaluate(async () => {
  await new Promise((done) => requestAnimationFrame(() => setTimeout(done)));
  const shown = (id) => document.getElementById(id).checkVisibility();
  const lines = (contentPane.scrollHeight - contentPane.clientHeight) / document.getElementById('J1').offsetHeight;
  return {hundredsOfLines: Math.round(lines / 100), plant: shown('J1'), group: shown('J2'), part: shown('J3'),
    nextGroup: shown('J53')};
});

test('a long tree folds to one line and comes back as it was', () => withPage('large', async (page) => {
  const before = await look(page);
  assert.ok(before.hundredsOfLines > 500);
  await page.locator('#Q1').click();
  assert.deepEqual(await look(page),
    {...before, hundredsOfLines: 0, group: false, part: false, nextGroup: false});
  const [open, close] = await page.evaluate(() => {
    const range = document.createRange();
    const line = (node) => { range.selectNode(node); return range.getBoundingClientRect().top; };
    return [line(document.getElementById('J1')), line(document.getElementById('O1').nextSibling)];
  });
  assert.ok(Math.abs(open - close) < 3, `the braces stand on lines at ${open} and ${close}`);
  await page.locator('#Q1').click();
  assert.deepEqual(await look(page), before);
}));

test('what is folded within a long tree stays folded when that comes back', () => withPage('large', async (page) => {
  await page.locator('#Q2').click();
  const before = await look(page);
  assert.deepEqual([before.group, before.part, before.nextGroup], [true, false, true]);
  await page.locator('#Q1').click();
  await page.locator('#Q1').click();
  assert.deepEqual(await look(page), before);
  await page.locator('#Q2').click();
  assert.equal((await look(page)).part, true);
}));

test('the keys and links find their way through folded long trees', () => withPage('large', async (page) => {
  await page.evaluate(() => focusStop(document.getElementById('Q1')));
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'J1');
  await page.evaluate(() => doColor(document.getElementById('J9000')));
  await page.locator('#T9000 a').click();
  await page.waitForFunction(() => document.getElementById('J9000').checkVisibility());
  assert.equal(await page.locator('#Q1').textContent(), '-');
}));

test('a long tree folds and unfolds within a tenth of a second', () => withPage('large', async (page) => {
  const times = await page.evaluate(async () => {
    const frame = () => new Promise((done) => requestAnimationFrame(() => setTimeout(done)));
    const measure = async (id) => {
      await frame();
      const start = performance.now();
      document.getElementById(id).click();
      document.body.getBoundingClientRect();
      return performance.now() - start;
    };
    const all = {};
    for (const id of ['Q1', 'Q2', 'Q3']) {
      const rounds = [];
      for (let i = 0; i < 6; ++i) rounds.push(await measure(id));
      all[id] = Math.min(...rounds);
    }
    return all;
  });
  for (const [id, time] of Object.entries(times)) assert.ok(time < 100, `${id} took ${time} ms`);
}));

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

test('a link shows the text of its line, however deep that stands', () => withPage('deep', async (page) => {
  await page.evaluate(() => { location.hash = '#200'; });
  await page.waitForFunction(() => {
    const box = document.getElementById('J200').getBoundingClientRect();
    const pane = contentPane.getBoundingClientRect();
    return box.left >= pane.left && box.right <= pane.right && box.bottom > pane.top && box.bottom <= pane.bottom;
  });
}));

test('a tree deeper than the browser nests is shown to its end', () => withPage('deep', async (page) => {
  assert.equal(await entries(page).last().textContent(), 'Leaf');
  const tops = await page.evaluate(() => ['Q200', 'J200'].map((id) => document.getElementById(id).getBoundingClientRect().top));
  assert.ok(Math.abs(tops[0] - tops[1]) < 5, 'a line is broken: ' + tops.join());
  await page.evaluate(() => { location.hash = '#301'; });
  await page.waitForFunction(() => {
    const at = document.getElementsByName('301')[0].getBoundingClientRect().top;
    return at > 0 && at < window.innerHeight;
  });
}));

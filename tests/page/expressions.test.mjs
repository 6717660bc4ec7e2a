// The context menu, and what it does to expressions.
import assert from 'node:assert/strict';
import {test} from 'node:test';

import {entries, rgb, shownDescriptions, style, useBrowser, withPage} from './browser.mjs';

useBrowser();

const menu = (page) => page.locator('div.contextMenu');
const options = (page) => page.locator('li.contextOption').allTextContents();
const innerBracket = (page) => page.locator('span.expr > span.bracket');
const outerBracket = (page) => page.locator('span.top-expr > span.bracket');

async function choose(page, locator, option) {
  await locator.click({button: 'right'});
  await page.locator('li.contextOption', {hasText: new RegExp('^' + option + '$')}).click();
}

test('there is no menu where there are no expressions, not even the browser\'s', () => withPage('typical', async (page) => {
  await page.evaluate(() => document.addEventListener('contextmenu', (event) => { window.prevented = event.defaultPrevented; }));
  await entries(page).nth(1).click({button: 'right'});
  assert.equal(await menu(page).isVisible(), false);
  assert.equal(await page.evaluate(() => window.prevented), true);
}));

test('what has no id leaves the browser its menu', () => withPage('typical', async (page) => {
  await page.evaluate(() => document.addEventListener('contextmenu', (event) => { window.prevented = event.defaultPrevented; }));
  await page.locator('div.content span.keyword').first().click({button: 'right'});
  assert.equal(await page.evaluate(() => window.prevented), false);
}));

test('the menu offers what fits', () => withPage('expressions', async (page) => {
  await innerBracket(page).click({button: 'right'});
  assert.deepEqual(await options(page), ['Collapse', 'Box', 'Infix view']);
  await page.keyboard.press('Escape');
  await outerBracket(page).click({button: 'right'});
  assert.deepEqual(await options(page), ['Box', 'Infix view']);
  await page.keyboard.press('Escape');
  await page.locator('div.content span.pskeyword').click({button: 'right'});
  assert.equal(await menu(page).isVisible(), false);
}));

test('the menu opens at the mouse with its shadow', () => withPage('expressions', async (page) => {
  const bracket = await innerBracket(page).boundingBox();
  const [x, y] = [Math.round(bracket.x + 5), Math.round(bracket.y + 5)];
  await page.mouse.move(x, y);
  await page.mouse.down({button: 'right'});
  await page.mouse.up({button: 'right'});
  const box = await menu(page).boundingBox();
  const shadow = await page.locator('div.contextShadow').boundingBox();
  assert.deepEqual([box.x, box.y, shadow.x, shadow.y], [x, y, x + 3, y + 3]);
}));

test('the menu turns to the other side of the mouse where the window ends', () => withPage('expressions', async (page) => {
  await page.evaluate(() => {
    contextList.replaceChildren();
    addOption('Box');
    openContextMenu(window.innerWidth - 2, window.innerHeight - 2);
  });
  const box = await menu(page).boundingBox();
  assert.deepEqual([box.x + box.width, box.y + box.height].map(Math.floor), [1280 - 2 + 1, 800 - 2 + 1]);
}));

test('a box is drawn and taken away', () => withPage('expressions', async (page) => {
  await choose(page, innerBracket(page), 'Box');
  assert.equal(await style(page.locator('.expr'), 'borderTopWidth'), '1px');
  assert.equal(await menu(page).isVisible(), false);
  await choose(page, innerBracket(page), 'Unbox');
  assert.equal(await style(page.locator('.expr'), 'borderTopWidth'), '0px');
}));

test('one expression can be seen in infix while the others stay', () => withPage('expressions', async (page) => {
  const inops = () => page.locator('.inop').evaluateAll((objs) => objs.map((obj) => getComputedStyle(obj).display));
  await choose(page, innerBracket(page), 'Infix view');
  assert.deepEqual(await inops(), ['none', 'inline']);
  await choose(page, innerBracket(page), 'Prefix view');
  assert.deepEqual(await inops(), ['none', 'none']);
  await choose(page, outerBracket(page), 'Infix view');
  assert.deepEqual(await inops(), ['inline', 'inline']);
}));

test('what is collapsed is replaced by a button, which brings it back', () => withPage('expressions', async (page) => {
  const expr = page.locator('.expr');
  const before = await expr.innerText();
  await choose(page, innerBracket(page), 'Collapse');
  assert.equal(await expr.innerText(), '+');
  const button = page.locator('.expr > span.expander');
  assert.equal(await button.getAttribute('id'), 'J5');
  await button.click();
  assert.equal(await button.count(), 0);
  assert.equal(await expr.innerText(), before);
  await choose(page, innerBracket(page), 'Collapse');
  await button.click({button: 'right'});
  assert.deepEqual(await options(page), ['Expand', 'Box', 'Infix view']);
  await page.locator('li.contextOption').first().click();
  assert.equal(await expr.innerText(), before);
}));

test('the button of what is collapsed shows and colours like what it stands for', () => withPage('expressions', async (page) => {
  await choose(page, innerBracket(page), 'Collapse');
  const button = page.locator('.expr > span.expander');
  await page.mouse.move(1000, 700);
  await button.hover();
  assert.deepEqual(await shownDescriptions(page), ['D5']);
  await button.click();
  await page.mouse.move(1000, 700);
  assert.deepEqual(await shownDescriptions(page), []);
  await innerBracket(page).click();
  await choose(page, innerBracket(page), 'Collapse');
  assert.equal(await style(button, 'backgroundColor'), rgb('#e31a1c'));
}));

test('the view changes also for what was collapsed meanwhile', () => withPage('expressions', async (page) => {
  await choose(page, innerBracket(page), 'Collapse');
  await page.locator('#view').click();
  assert.equal(await page.locator('.expr').innerText(), '+');
  await page.locator('.expr > span.expander').click();
  assert.equal((await page.locator('.top-expr').innerText()).replace(/[\s\u00a0]+/g, ' '), '#(a + (#(b * 2))');
}));

test('operators, brackets and regions show their descriptions', () => withPage('expressions', async (page) => {
  const parts = {'span.regiondesc': 'D1', 'span.top-expr > span.bracket': 'D2', 'span.preop': 'D3', 'span.constant': 'D8',
    'span.pskeyword': 'D9'};
  for (const [selector, id] of Object.entries(parts)) {
    await page.locator('div.content ' + selector).first().hover();
    assert.deepEqual(await shownDescriptions(page), [id]);
  }
}));

test('an unknown option says so', () => withPage('expressions', async (page, alerts) => {
  await page.evaluate(() => processContextOption('Turn'));
  assert.deepEqual(alerts.splice(0), ['Option \'Turn\' not yet implemented.']);
}));

// The bar, the legend, the address box and the sizes of the panes.
import assert from 'node:assert/strict';
import {test} from 'node:test';

import {moveAway, shownDescriptions, style, useBrowser, withPage} from './browser.mjs';

useBrowser();

const views = (page) => page.evaluate(() => ({
  oper: getComputedStyle(document.querySelector('.oper')).display,
  inop: getComputedStyle(document.querySelector('.inop')).display,
  plain: getComputedStyle(document.querySelector('.in-plain')).display,
  preop: getComputedStyle(document.querySelector('.preop')).display,
  expr: getComputedStyle(document.querySelector('.expr')).display,
  margin: document.querySelector('.expr').style.marginLeft,
}));
const prefix = {oper: 'block', inop: 'none', plain: 'none', preop: 'inline', expr: 'block', margin: ''};
const infix = {oper: 'inline', inop: 'inline', plain: 'inline', preop: 'none', expr: 'inline', margin: '0px'};

test('the view button switches between prefix and infix', () => withPage('expressions', async (page) => {
  const button = page.locator('#view');
  assert.deepEqual([await button.inputValue(), await views(page)], ['Infix', prefix]);
  await button.click();
  assert.deepEqual([await button.inputValue(), await views(page)], ['Prefix', infix]);
  await button.click();
  assert.deepEqual([await button.inputValue(), await views(page)], ['Infix', prefix]);
}));

test('the view keeps what an expression had set for itself', () => withPage('expressions', async (page) => {
  await page.evaluate(() => {
    const expr = document.querySelector('.expr');
    expr.style.display = 'inline-block';
    expr.style.marginLeft = '7px';
    setHooks(expr);
  });
  await page.locator('#view').click();
  await page.locator('#view').click();
  assert.deepEqual(await views(page), {...prefix, expr: 'inline-block', margin: '7px'});
}));

test('the box button steps through its three states', () => withPage('expressions', async (page) => {
  const button = page.locator('#box');
  const borders = async () => [await button.inputValue(), await style(page.locator('.top-expr'), 'borderTopWidth'),
    await style(page.locator('.expr'), 'borderTopWidth'), await style(page.locator('.expr'), 'paddingTop')];
  assert.deepEqual(await borders(), ['Box', '0px', '0px', '0px']);
  await button.click();
  assert.deepEqual(await borders(), ['Box all', '1px', '0px', '0px']);
  assert.equal(await style(page.locator('.top-expr'), 'borderTopStyle'), 'solid');
  await button.click();
  assert.deepEqual(await borders(), ['Unbox', '0px', '1px', '1px']);
  await button.click();
  assert.deepEqual(await borders(), ['Box', '0px', '0px', '0px']);
}));

test('the legend is shown on request, and the panes make room for it', () => withPage('typical', async (page) => {
  const heights = () => page.evaluate(() => [contentPane.offsetHeight, desc_tblPane.offsetHeight]);
  const legend = page.locator('div.legend');
  assert.equal(await legend.isVisible(), false);
  const [high] = await heights();
  await page.locator('#legend').click();
  assert.equal(await legend.isVisible(), true);
  assert.equal(await page.locator('#legend').inputValue(), 'No legend');
  const room = high - (await legend.boundingBox()).height;
  assert.deepEqual(await heights(), [room, room]);
  await page.locator('#legend').click();
  assert.equal(await legend.isVisible(), false);
  assert.equal(await page.locator('#legend').inputValue(), 'Legend');
  assert.deepEqual(await heights(), [high, high]);
}));

test('the legend has a sample of each symbol and a working expander', () => withPage('typical', async (page) => {
  await page.locator('#legend').click();
  const items = await page.locator('div.legend > span.legend-item').allTextContents();
  assert.deepEqual(items, [' = expr node ', ' = const node', ' = operator', ' = keyword', ' = pseudo keyword', ' = region',
    ' = string, literal text']);
  const shown = () => page.evaluate(() => ['on', 'off'].map((cl) => getComputedStyle(document.querySelector('.legend .' + cl)).display));
  const button = page.locator('#QAonoff_ex');
  assert.deepEqual([await button.textContent(), await shown()], ['-', ['inline', 'none']]);
  await button.click();
  assert.deepEqual([await button.textContent(), await shown()], ['+', ['none', 'inline']]);
  await button.click();
  assert.deepEqual([await button.textContent(), await shown()], ['-', ['inline', 'none']]);
}));

test('everything in the legend can be read without scrolling', () => withPage('typical', async (page) => {
  await page.locator('#legend').click();
  assert.ok(await page.evaluate(() => legendPane.scrollHeight <= legendPane.clientHeight));
}));

async function enterAddress(page, text) {
  await page.locator('.address').fill(text);
  await page.locator('.address').press('Enter');
}

test('the address box takes a brief address', () => withPage('expressions', async (page) => {
  await enterAddress(page, '7:1-2');
  assert.deepEqual(await shownDescriptions(page), ['D7:1-2']);
}));

test('the address box takes an address that one description shows', () => withPage('expressions', async (page) => {
  await enterAddress(page, '0:4-9');
  assert.deepEqual(await shownDescriptions(page), ['D4']);
  await enterAddress(page, 'FILE-SCOPE#3:Pump-part#2');
  assert.deepEqual(await shownDescriptions(page), ['D4', 'D10']);
}));

test('the letter s at both ends of an address is dropped', () => withPage('expressions', async (page) => {
  await enterAddress(page, 'ss0:4-9s');
  assert.deepEqual(await shownDescriptions(page), ['D4']);
  assert.deepEqual(await page.evaluate(() => ['s0:1-2s', 'func-scope#1:as', ' 0:1-2'].map(checkAddress)), ['0:1-2', 'func-scope#1:a', '']);
}));

test('what is no address, or nobody\'s, is refused', () => withPage('expressions', async (page, alerts) => {
  const refused = ['', '7', '99:1-2', 'Node', '7:1', '7:1-2x', 'func-scope#1:a', 'func-scope#:a', 'file-scope#3:Pump part', '\'"<'];
  for (const text of refused) {
    await enterAddress(page, text);
    assert.deepEqual(alerts.splice(0), ['Could not find address ' + text]);
  }
  assert.deepEqual(await shownDescriptions(page), []);
}));

test('other keys than Enter are only typed', () => withPage('expressions', async (page) => {
  await page.locator('.address').pressSequentially('7:1-');
  assert.equal(await page.locator('.address').inputValue(), '7:1-');
}));

test('the feedback box is empty and cannot be written', () => withPage('typical', async (page) => {
  assert.equal(await page.locator('#oFeedback').inputValue(), '');
  assert.equal(await page.locator('#oFeedback').isEditable(), false);
}));

const paneWidths = (page) => page.evaluate(() => [desc_tblPane.offsetWidth, contentPane.getBoundingClientRect().left]);

test('the border between the panes can be moved with the mouse', () => withPage('typical', async (page) => {
  const [, left] = await paneWidths(page);
  await page.mouse.move(left + 1, 400);
  assert.equal(await style(page.locator('body'), 'cursor'), 'move');
  await page.mouse.down();
  await page.mouse.move(600, 400);
  assert.deepEqual(await paneWidths(page), [600, 600]);
  assert.equal(await page.evaluate(() => desc_tblInner.style.width), '600px');
  await page.mouse.up();
  await page.mouse.move(900, 400);
  assert.deepEqual(await paneWidths(page), [600, 600]);
  assert.notEqual(await style(page.locator('body'), 'cursor'), 'move');
}));

test('the area of the border is two pixels wide, both ends included', () => withPage('typical', async (page) => {
  const left = await page.evaluate(() => { contentPane.style.left = '403px'; return 403; });
  const within = async (x) => {
    await page.mouse.move(x, 400);
    return page.evaluate(() => inResizeArea);
  };
  assert.deepEqual([await within(left - 1), await within(left), await within(left + 2), await within(left + 3)], [false, true, true, false]);
}));

test('a press ends a resize whose end was not seen', () => withPage('typical', async (page) => {
  const [, left] = await paneWidths(page);
  await page.mouse.move(left + 1, 400);
  await page.mouse.down();
  await page.evaluate(() => document.body.dispatchEvent(new MouseEvent('mousedown', {bubbles: true})));
  assert.equal(await page.evaluate(() => inResize), false);
  await page.mouse.up();
}));

test('no resize begins with another button or while a menu is open', () => withPage('typical', async (page) => {
  const [, left] = await paneWidths(page);
  await page.mouse.move(left + 1, 700);
  await page.mouse.down({button: 'right'});
  assert.equal(await page.evaluate(() => inResize), false);
  await page.mouse.up({button: 'right'});
  await page.locator('#colors').click();
  await page.mouse.move(left + 1, 790);
  await page.mouse.down();
  assert.equal(await page.evaluate(() => inResize), false);
  await page.mouse.up();
}));

test('the panes follow the size of the window', () => withPage('typical', async (page) => {
  await page.setViewportSize({width: 1000, height: 500});
  await page.waitForFunction(() => contentPane.offsetHeight === 455);
  assert.deepEqual(await page.evaluate(() => [desc_tblPane.offsetHeight, contentPane.getBoundingClientRect().right]), [455, 1000]);
}));

test('a narrow window leaves room for both panes', () => withPage('typical', async (page) => {
  const [table, left] = await paneWidths(page);
  assert.ok(table === left && left > 200 && left < 300, `${table} ${left}`);
  await moveAway(page);
}, {width: 500, height: 600}));

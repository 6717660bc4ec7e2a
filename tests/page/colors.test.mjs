// Colouring, pinning and the colour sets.
import assert from 'node:assert/strict';
import {test} from 'node:test';

import {entries, moveAway, rgb, shownDescriptions, style, useBrowser, withPage} from './browser.mjs';

useBrowser();

const defaultSet = [
  '#e31a1c', '#377db8', '#4daf4a', '#984ea3', '#ff7f00', '#ffff33', '#a65628', '#f781bf', '#999999',
];

/** The first entry of element n in the tree. */
function entry(page, n) {
  return page.locator('div.content #J' + n).first();
}

async function backgrounds(locator) {
  return locator.evaluateAll((objs) => Array.from(new Set(objs.map((obj) => getComputedStyle(obj).backgroundColor))));
}

test('a click colours all clones and pins the description', () => withPage('typical', async (page) => {
  await entry(page, 2).click();
  await moveAway(page);
  assert.deepEqual(await shownDescriptions(page), ['D2']);
  assert.deepEqual(await backgrounds(page.locator('#J2')), [rgb(defaultSet[0])]);
  assert.deepEqual(await backgrounds(page.locator('div.desc#D2')), [rgb(defaultSet[0])]);
  assert.equal(await style(page.locator('#D2 span.attrId').first(), 'backgroundColor'), rgb(defaultSet[0]));
  assert.equal(await style(entry(page, 2), 'color'), 'rgb(255, 255, 255)');
}));

test('a second click gives everything its own colours back and hides the description', () => withPage('typical', async (page) => {
  const look = () => page.evaluate(() => Array.from(document.querySelectorAll('#J2, #D2, #D2 *'))
    .map((obj) => getComputedStyle(obj).color + getComputedStyle(obj).backgroundColor));
  await entry(page, 2).hover();
  const before = await look();
  await entry(page, 2).click();
  assert.notDeepEqual(await look(), before);
  await entry(page, 2).click();
  await moveAway(page);
  assert.deepEqual(await look(), before);
  assert.deepEqual(await shownDescriptions(page), []);
}));

test('a pinned description turns italic under the mouse', () => withPage('typical', async (page) => {
  await entry(page, 2).click();
  await moveAway(page);
  assert.equal(await style(page.locator('#D2'), 'fontStyle'), 'normal');
  await entry(page, 2).hover();
  assert.equal(await style(page.locator('#D2'), 'fontStyle'), 'italic');
  await moveAway(page);
  assert.equal(await style(page.locator('#D2'), 'fontStyle'), 'normal');
}));

test('an entry in a description works like one in the tree', () => withPage('typical', async (page) => {
  await entry(page, 3).click();
  await page.locator('#D3 span.entry#J2').first().click();
  assert.deepEqual(await shownDescriptions(page), ['D3', 'D2']);
  assert.deepEqual(await backgrounds(page.locator('#J2')), [rgb(defaultSet[1])]);
  assert.deepEqual(await backgrounds(page.locator('#D3')), [rgb(defaultSet[0])]);
}));

test('what an entry names wins over where it stands, and gives way when it is released', () => withPage('typical', async (page) => {
  const row = page.locator('#D3 span.entry#J2').first();
  await entry(page, 2).click();
  await entry(page, 3).click();  // its description is loaded only now, and names a thing that has a colour
  assert.equal(await style(row, 'backgroundColor'), rgb(defaultSet[0]));
  await entry(page, 2).click();
  assert.equal(await style(row, 'backgroundColor'), rgb(defaultSet[1]));
  await entry(page, 3).click();
  assert.equal(await style(row, 'backgroundColor'), 'rgba(0, 0, 0, 0)');
}));

test('an entry keeps the colour of what it names when its description loses its own', () => withPage('typical', async (page) => {
  await entry(page, 3).click();
  await entry(page, 2).click();
  await entry(page, 3).click();
  assert.equal(await style(page.locator('#D3 span.entry#J2').first(), 'backgroundColor'), rgb(defaultSet[1]));
  assert.equal(await style(page.locator('#D3'), 'backgroundColor'), 'rgb(255, 255, 255)');
}));

test('the tenth colour takes over the first', () => withPage('typical', async (page) => {
  for (let n = 2; n <= 11; ++n) await entry(page, n).click();
  await moveAway(page);
  assert.deepEqual(await backgrounds(page.locator('div.content #J2')), ['rgba(0, 0, 0, 0)']);
  assert.deepEqual(await backgrounds(page.locator('div.content #J11')), [rgb(defaultSet[0])]);
  assert.deepEqual(await shownDescriptions(page), ['D3', 'D4', 'D5', 'D6', 'D7', 'D8', 'D9', 'D10', 'D11']);
  assert.deepEqual(await page.evaluate(() => [usedColors, colorPool]), [[2, 3, 4, 5, 6, 7, 8, 9, 1], []]);
}));

test('a colour that is given back goes to the end of the pool', () => withPage('typical', async (page) => {
  await entry(page, 2).click();
  await entry(page, 3).click();
  await entry(page, 2).click();
  assert.deepEqual(await page.evaluate(() => [usedColors, colorPool]), [[2], [3, 4, 5, 6, 7, 8, 9, 1]]);
}));

test('a click without hover pins too', () => withPage('typical', async (page) => {
  await page.evaluate(() => documentIdMap.J5[0].click());
  assert.deepEqual(await shownDescriptions(page), ['D5']);
  assert.equal(await page.evaluate(() => documentIdMap.D5[0].forcedVisible), false);
}));

test('the text on a colour is white on dark and black on light', () => withPage('empty', async (page) => {
  assert.deepEqual(await page.evaluate(() => ['#d0d0d0', '#cfd0d0', '#ffffff', '#000000', '#ffff33', '#ff7f00'].map(makeComplementary)),
    ['#000000', '#ffffff', '#000000', '#ffffff', '#000000', '#ffffff']);
}));

test('there are 30 sets of 9 colours, the 29th is active', () => withPage('typical', async (page) => {
  assert.deepEqual(await page.evaluate(() => brewerArray.map((set) => set.length)), Array(30).fill(9));
  assert.deepEqual(await page.evaluate(() => [activeColorSet, colorArray]), [28, defaultSet]);
  const names = await page.locator('li.colorItem span.colorName').allTextContents();
  assert.deepEqual(names, Array.from({length: 30}, (_, i) => `Colorset ${i + 1}:`));
  assert.equal(await page.locator('li.colorItem span.square').count(), 270);
  assert.equal(await page.locator('li.colorItem[aria-checked="true"] span.colorName').textContent(), 'Colorset 29:');
}));

test('the colour menu opens under its button with a shadow, and closes again', () => withPage('typical', async (page) => {
  const menu = page.locator('div.colorMenu');
  const shadow = page.locator('div.colorShadow');
  assert.equal(await menu.isVisible(), false);
  await page.locator('#colors').click();
  const [button, box, under] = [await page.locator('#colors').boundingBox(), await menu.boundingBox(), await shadow.boundingBox()];
  assert.equal(box.x, button.x);
  assert.equal(box.y, button.y + button.height + 3);
  assert.deepEqual([under.x - box.x, under.y - box.y, under.width - box.width, under.height - box.height], [3, 3, 0, 0]);
  assert.deepEqual([await style(menu, 'zIndex'), await style(shadow, 'zIndex'), await style(shadow, 'opacity')], ['2', '1', '0.5']);
  await page.locator('#colors').click();
  assert.equal(await menu.isVisible(), false);
  assert.equal(await shadow.isVisible(), false);
}));

test('a click beside an open menu only closes it', () => withPage('typical', async (page) => {
  await page.locator('#colors').click();
  await page.locator('div.content').click({position: {x: 700, y: 600}});
  assert.equal(await page.locator('div.colorMenu').isVisible(), false);
  await page.locator('#colors').click();
  await page.evaluate(() => documentIdMap.J1[0].click());
  assert.equal(await page.locator('div.colorMenu').isVisible(), false);
  assert.deepEqual(await backgrounds(page.locator('#J1')), ['rgba(0, 0, 0, 0)']);
}));

test('another set repaints everything that has a colour', () => withPage('typical', async (page) => {
  await entry(page, 2).click();
  await entry(page, 3).click();
  await page.locator('#colors').click();
  await page.locator('li.colorItem').first().click();
  assert.equal(await page.locator('div.colorMenu').isVisible(), false);
  assert.equal(await page.locator('li.colorItem[aria-checked="true"]').count(), 1);
  assert.deepEqual(await backgrounds(page.locator('#J2')), [rgb('#fff7fb')]);
  assert.deepEqual(await backgrounds(page.locator('div.content #J3')), [rgb('#ece7f2')]);
  assert.equal(await style(entry(page, 2), 'color'), 'rgb(0, 0, 0)');
  assert.equal(await style(page.locator('#D3'), 'backgroundColor'), rgb('#ece7f2'));
}));

test('the colour menu works with the keys', () => withPage('typical', async (page) => {
  await page.locator('#colors').focus();
  await page.keyboard.press('Enter');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  assert.equal(await page.evaluate(() => activeColorSet), 29);
  assert.equal(await page.locator('div.colorMenu').isVisible(), false);
  await page.locator('#colors').focus();
  await page.keyboard.press('Enter');
  await page.keyboard.press('Escape');
  assert.equal(await page.locator('div.colorMenu').isVisible(), false);
}));

test('many clones are all coloured', () => withPage('typical', async (page) => {
  await entries(page).nth(1).click();
  assert.ok(await page.locator('#J2').count() > 10);
  assert.deepEqual(await backgrounds(page.locator('#J2')), [rgb(defaultSet[0])]);
}));

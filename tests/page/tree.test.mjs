// Loading, hovering, clicking and folding.
import assert from 'node:assert/strict';
import {test} from 'node:test';

import {entries, expanders, moveAway, shownDescriptions, style, useBrowser, withPage} from './browser.mjs';

useBrowser();

test('a page is read in standards mode, has a title, and shows its tree', () => withPage('typical', async (page) => {
  assert.equal(await page.evaluate(() => document.compatMode), 'CSS1Compat');
  assert.equal(await page.title(), 'typical');
  assert.equal(await page.evaluate(() => document.documentElement.className), '');
  assert.equal(await style(page.locator('div.content'), 'display'), 'block');
  assert.equal(await entries(page).first().textContent(), 'Plant');
}));

test('an empty model gives an empty tree and no description but the dummy', () => withPage('empty', async (page) => {
  assert.equal((await page.locator('div.content').textContent()).trim(), '');
  assert.deepEqual(await page.evaluate(() => descDefs), {Ddummy: ''});
  assert.deepEqual(await shownDescriptions(page), []);
}));

test('the map of ids holds all clones', () => withPage('typical', async (page) => {
  const clones = await page.evaluate(() => documentIdMap.J2.map((obj) => obj.textContent));
  assert.equal(clones.length, await page.locator('#J2').count());
  assert.ok(clones.length > 2);
  assert.deepEqual(await page.evaluate(() => getClones(documentIdMap.J2[1]) === documentIdMap.J2[0].xClones), true);
}));

test('ids lead from one view of a thing to another', () => withPage('typical', async (page) => {
  assert.deepEqual(await page.evaluate(() => [
    reclassId('J12', 'desc'), reclassId('D12', 'entry'), reclassId('Q0x55', 'tree'), reclassId('J12', 'desc_hdr'),
    reclassId('J12', 'keyword'), reclassId('J12', 'descItem'), reclassId('J12', 'toggle'), reclassId('J12', 'attrName'),
    reclassId('J12', 'expander'), reclassId('J12', 'desc_tbl'), reclassId('J12', 'descName'), reclassId('J12', 'descAddr'),
    reclassId('J12', 'unknown'), reclassId('J12', 'toString'), reclassId('', 'desc'),
  ]), ['D12', 'J12', 'O0x55', 'B12', 'H12', 'I12', 'K12', 'N12', 'Q12', 'R12', 'S12', 'T12', '', '', '']);
}));

test('descriptions enter the document only when they are needed', () => withPage('typical', async (page) => {
  assert.equal(await page.locator('div.desc').count(), 0);
  assert.ok(await page.evaluate(() => Object.keys(descDefs).length) > 12);
  await entries(page).nth(1).hover();
  assert.equal(await page.locator('div.desc').count(), 1);
  assert.deepEqual(await page.evaluate(() => ['D2', 'B2', 'S2', 'T2'].map((id) => documentIdMap[id].length)), [1, 1, 1, 1]);
}));

test('hovering an entry shows its description, leaving it hides it again', () => withPage('typical', async (page) => {
  await entries(page).nth(1).hover();
  assert.deepEqual(await shownDescriptions(page), ['D2']);
  await moveAway(page);
  assert.deepEqual(await shownDescriptions(page), []);
  await entries(page).first().hover();
  assert.deepEqual(await shownDescriptions(page), ['D1']);
}));

test('hovering scrolls the table to the description', () => withPage('typical', async (page) => {
  for (const i of [1, 4, 7, 10, 13]) await entries(page).nth(i).click();
  await entries(page).nth(1).hover();
  assert.equal(await page.locator('div.desc_tbl').evaluate((pane) => pane.scrollTop), 0);
  await entries(page).nth(4).hover();
  const [top, offset] = await page.evaluate(() => [desc_tblPane.scrollTop, documentIdMap.D3[0].offsetTop]);
  assert.ok(offset > 0 && top === offset);
}));

test('an entry without a description does nothing', () => withPage('typical', async (page) => {
  await page.evaluate(() => { delete descDefs.D14; });
  const team = entries(page).last();
  assert.equal(await team.getAttribute('id'), 'J14');
  await team.hover();
  await team.click();
  await moveAway(page);
  assert.deepEqual(await shownDescriptions(page), []);
}));

test('names of properties take no part in hovering', () => withPage('typical', async (page) => {
  await page.locator('div.content span.keyword').first().hover();
  await page.locator('div.content span.keyword').first().click();
  assert.deepEqual(await shownDescriptions(page), []);
}));

test('an expander folds and unfolds its tree', () => withPage('typical', async (page) => {
  const button = expanders(page).nth(2);
  assert.equal(await button.getAttribute('id'), 'Q2');
  const children = page.locator('#O2');
  await button.click();
  assert.equal(await button.textContent(), '+');
  assert.equal(await style(button, 'borderTopStyle'), 'inset');
  assert.equal(await style(children, 'display'), 'none');
  await button.click();
  assert.equal(await button.textContent(), '-');
  assert.equal(await style(button, 'borderTopStyle'), 'outset');
  assert.equal(await style(children, 'display'), 'inline');
}));

test('names stand in their columns, whether their line folds or not', () => withPage('typical', async (page) => {
  const lefts = await page.evaluate(() => Array.from(document.querySelectorAll('#O1 > span.keyword'), (obj) => obj.getBoundingClientRect().left));
  assert.equal(lefts.length, 2);  // the name, and the parts with their button
  assert.ok(Math.abs(lefts[0] - lefts[1]) < 0.5, lefts.join());
}));

test('a folded tree leaves its braces on one line', () => withPage('typical', async (page) => {
  await expanders(page).nth(2).click();
  const text = (await page.locator('div.content').innerText()).replaceAll('\u00a0', ' ');
  assert.match(text, /\n.? *\+ +\[0\]: Part \{\}\n/);
}));

test('folding does not show or hide descriptions', () => withPage('typical', async (page) => {
  await expanders(page).first().hover();
  await expanders(page).first().click();
  assert.deepEqual(await shownDescriptions(page), []);
}));

test('only a plain click counts', () => withPage('typical', async (page) => {
  for (const modifier of ['Shift', 'Control', 'Alt', 'Meta']) {
    await expanders(page).first().click({modifiers: [modifier]});
  }
  await expanders(page).first().click({button: 'middle'});
  assert.equal(await expanders(page).first().textContent(), '-');
  assert.equal(await page.evaluate(() => eventCounter), 1);
  await expanders(page).first().click();
  assert.equal(await page.evaluate(() => eventCounter), 2);
}));

test('the address of a description leads back to the tree, which unfolds for it', () => withPage('typical', async (page) => {
  await entries(page).nth(1).click();
  await expanders(page).first().click();
  assert.equal(await entries(page).nth(1).isVisible(), false);
  await page.locator('#T2 a').click();
  assert.match(page.url(), /#2$/);
  assert.equal(await entries(page).nth(1).isVisible(), true);
  assert.equal(await expanders(page).first().textContent(), '-');
}));

test('a link to a collection leads to its anchor', () => withPage('typical', async (page) => {
  await entries(page).first().click();
  const link = page.locator('div.desc a.attrId');
  const target = await link.getAttribute('href');
  assert.match(target, /^#0x[0-9a-f]+$/);
  await link.click();
  assert.equal(await page.evaluate(() => location.hash), target);
  assert.equal(await page.locator(`a[name="${target.substring(1)}"] + span.expander`).textContent(), '-');
}));

test('a page can be opened at one of its anchors', () => withPage('typical', async (page) => {
  const [top, bottom] = await page.evaluate(() => {
    const at = document.getElementsByName('13')[0].getBoundingClientRect().top;
    return [at - contentPane.getBoundingClientRect().top, contentPane.getBoundingClientRect().bottom - at];
  });
  assert.ok(top >= 0 && bottom > 0);
}, {hash: '#13'}));

test('the arrow keys walk the tree, fold it, and show the descriptions', () => withPage('typical', async (page) => {
  const focused = () => page.evaluate(() => document.activeElement.id);
  await page.locator('div.content').focus();
  await page.keyboard.press('ArrowDown');
  assert.equal(await focused(), 'Q1');
  await page.keyboard.press('ArrowDown');
  assert.equal(await focused(), 'J1');
  assert.deepEqual(await shownDescriptions(page), ['D1']);
  await page.keyboard.press('Enter');
  await page.keyboard.press('ArrowUp');
  assert.equal(await focused(), 'Q1');
  assert.deepEqual(await shownDescriptions(page), ['D1']);  // pinned
  await page.keyboard.press('ArrowLeft');
  assert.equal(await expanders(page).first().textContent(), '+');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  assert.equal(await focused(), 'J14');  // what is folded is passed over
  await page.keyboard.press('Home');
  assert.equal(await focused(), 'Q1');
  await page.keyboard.press('ArrowRight');
  assert.equal(await expanders(page).first().textContent(), '-');
  await page.keyboard.press('End');
  assert.equal(await focused(), 'J14');
}));

test('a click into the table reaches what it was meant for while the keys show a description', () => withPage('typical', async (page) => {
  await entries(page).nth(4).click();
  await moveAway(page);
  await page.evaluate(() => focusStop(document.getElementById('J1')));
  assert.deepEqual(await shownDescriptions(page), ['D3', 'D1']);
  await page.evaluate(() => desc_tblInner.prepend(document.getElementById('D1')));  // above the other one
  await page.locator('#T3 a').click();
  assert.match(page.url(), /#3$/);
  await page.evaluate(() => focusStop(document.getElementById('J14')));
  assert.deepEqual(await shownDescriptions(page), ['D3', 'D14']);
}));

test('a step to the left from what cannot be folded goes to the line around it', () => withPage('typical', async (page) => {
  await page.evaluate(() => focusStop(documentIdMap.J2[1]));
  await page.keyboard.press('ArrowLeft');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'Q2');
  assert.equal(await page.locator('#Q2').getAttribute('aria-expanded'), 'true');
  await page.keyboard.press(' ');
  assert.equal(await page.locator('#Q2').getAttribute('aria-expanded'), 'false');
}));

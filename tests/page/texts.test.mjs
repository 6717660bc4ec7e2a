// Texts that would do harm if they were not escaped, or not read back with care.
import assert from 'node:assert/strict';
import {test} from 'node:test';

import {shownDescriptions, useBrowser, withPage} from './browser.mjs';

useBrowser();

/** As the sample page has them; a line end of another system is shown as a line end, a NUL would not come through. */
const texts = [
  'say "hi" & <b>bold</b>', 'line one\nline two\nline three', 'C:\\temp\\new', '\\u0041 \\x41 \\u{} \\', 'a\\\nb',
  'tab\there', '</script><script>alert(1)</script>', '<!-- <script> -->', '<img src=x onerror=alert(1)>', '\'single\'',
  '\u2028 and \\\u2029 separators', '\u05e9\u05dc\u05d5\u05dd \u0633\u0644\u0627\u0645', '\u6f22\u5b57\u304b\u306a \ud55c\uae00',
  '\u{1f642} \u00e4\u00f6\u00fc', '\x01\x02\x1f', '&amp; &nbsp; &#65;', '",\n\'D1\': "', 'ends in a backslash\\',
  '\\\\server\\share', '${x} `y`',
];

/** The value that the description of element n shows, with its line breaks. */
async function shownValue(page, n) {
  return page.evaluate((id) => {
    const value = getDesc(documentIdMap[id][0])[0].querySelector('.descItem:last-child .attrId').cloneNode(true);
    for (const br of value.querySelectorAll('br')) br.replaceWith('\n');
    return value.textContent;
  }, 'J' + n);
}

test('every text arrives in its description as it was', () => withPage('hostile', async (page) => {
  for (const [i, text] of texts.entries()) assert.equal(await shownValue(page, i + 2), text);
}));

test('every text arrives in the tree as it was', () => withPage('hostile', async (page) => {
  const shown = await page.evaluate(() => {
    const pane = contentPane.cloneNode(true);
    for (const br of pane.querySelectorAll('br')) br.replaceWith('\u0000');
    return pane.textContent.replaceAll(/\n?\u0000\n/g, '\u0000').replaceAll('\u00a0', ' ');
  });
  for (const text of texts) assert.ok(shown.includes('"' + text.replaceAll('\n', '\u0000') + '"'), text);
}));

test('no text becomes markup', () => withPage('hostile', async (page) => {
  await page.evaluate(() => { for (const id of Object.keys(descDefs)) loadDesc(id); });
  assert.equal(await page.locator('img, b, iframe, object').count(), 0);
  assert.equal(await page.locator('script').count(), 2);
}));

test('names are shown as they are too', () => withPage('hostile', async (page) => {
  const last = texts.length + 2;
  assert.deepEqual(await page.evaluate((id) => {
    const desc = getDesc(documentIdMap[id][0])[0];
    return [desc.querySelector('.descName').textContent, desc.querySelector('.descItem:last-child .attrName').textContent];
  }, 'J' + last), ['Class "<q>" \\u', 'na"me\\']);
}));

test('the page reads its descriptions itself only when the browser could not', () => withPage('typical', async (page) => {
  const [same, read] = await page.evaluate(() => {
    const own = readDescriptions(desc_tblInner.querySelector('script').textContent);
    return [JSON.stringify(own) === JSON.stringify(descDefs), Object.keys(own).length];
  });
  assert.ok(same);
  assert.equal(read, 15);
}));

test('a page cut short keeps the descriptions that were written', () => withPage('cut', async (page) => {
  assert.deepEqual(await page.evaluate(() => Object.keys(descDefs)), ['Ddummy', 'D1', 'D2']);
  await page.locator('div.content span.entry').nth(1).hover();
  assert.deepEqual(await shownDescriptions(page), ['D2']);
  assert.doesNotMatch(await page.locator('#D2').textContent(), /Legend/);
  await page.locator('#legend').click();  // has none to show
}));

test('long names and texts stay within the table', () => withPage('long-names', async (page) => {
  for (const entry of await page.locator('div.content span.entry').all()) await entry.click();
  assert.equal(await page.evaluate(() => desc_tblPane.scrollWidth <= desc_tblPane.clientWidth), true);
  assert.equal(await page.evaluate(() => contentPane.scrollWidth > contentPane.clientWidth), true);
}));

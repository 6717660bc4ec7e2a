// What a reader who cannot see the page meets. The colours of the page's classes are fixed; their contrast is not judged.
import assert from 'node:assert/strict';
import {createRequire} from 'node:module';
import {test} from 'node:test';

import {entries, expanders, useBrowser, withPage} from './browser.mjs';

useBrowser();

const axe = createRequire(import.meta.url).resolve('axe-core');

async function violations(page) {
  await page.addScriptTag({path: axe});
  const found = await page.evaluate(() => window.axe.run(document, {
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21aa'],
    rules: {'color-contrast': {enabled: false}},
  }));
  return found.violations.map((one) => `${one.id}: ${one.nodes.map((node) => node.html).slice(0, 3).join(' ')}`);
}

test('a page with descriptions, legend and folded parts breaks no rule of accessibility', () => withPage('typical', async (page) => {
  await entries(page).nth(1).click();
  await entries(page).nth(4).click();
  await expanders(page).nth(4).click();
  await page.locator('#legend').click();
  assert.deepEqual(await violations(page), []);
}));

test('an open menu breaks none either', () => withPage('expressions', async (page) => {
  await page.locator('span.expr > span.bracket').click({button: 'right'});
  assert.deepEqual(await violations(page), []);
  await page.keyboard.press('Escape');
  await page.locator('#colors').click();
  assert.deepEqual(await violations(page), []);
}));

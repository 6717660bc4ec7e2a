// The page's script as text: checked for slips that no single use of it would show.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';

import {Linter} from 'eslint';

import {pageUrl} from './browser.mjs';

const root = new URL('../../', import.meta.url);
const folder = new URL('shared/nimbo_utils/src/html/page/script/', root);
const files = fs.readdirSync(folder).filter((name) => name.endsWith('.js'));

const browserNames = ['alert', 'console', 'document', 'getComputedStyle', 'location', 'Node', 'NodeFilter', 'window'];

/** Called by the page's markup, not by the script. */
const entryPoints = /^(initAll|process(MouseDown|MouseUp|Click|MouseMove|MouseOver|MouseOut|ContextMenu|Button|Brewer|KeyPress))$/;

function lint(text, rules) {
  const globals = Object.fromEntries(browserNames.map((name) => [name, 'readonly']));
  const messages = new Linter().verify(text, [{languageOptions: {ecmaVersion: 2022, sourceType: 'script', globals}, rules}]);
  return messages.map((message) => `${message.line}: ${message.message}`);
}

test('each file of the script is in good order', () => {
  assert.ok(files.length > 10);
  for (const name of files) {
    const text = fs.readFileSync(new URL(name, folder), 'utf8');
    assert.deepEqual([name, lint(text, {
      eqeqeq: 'error', 'no-dupe-keys': 'error', 'no-fallthrough': ['error', {allowEmptyCase: true}], 'no-redeclare': 'error',
      'no-unreachable': 'error', 'no-unsafe-negation': 'error', 'prefer-const': 'error', 'use-isnan': 'error',
      'max-len': ['error', {code: 120}], 'max-lines-per-function': ['error', {max: 30}], complexity: ['error', {max: 14}],
      semi: 'error',
    })], [name, []]);
  }
});

test('the whole script uses what it defines and defines what it uses', () => {
  const page = fs.readFileSync(fileURLToPath(pageUrl('empty')), 'utf8');
  const script = page.substring(page.indexOf('<script type="text/javascript">\n') + 32, page.indexOf('</script>'));
  const messages = lint(script, {'no-undef': 'error', 'no-unused-vars': ['error', {vars: 'all', varsIgnorePattern: entryPoints.source}]});
  assert.deepEqual(messages, []);
});

test('the page holds the files of the script, all of them, byte for byte', () => {
  const page = fs.readFileSync(fileURLToPath(pageUrl('empty')), 'utf8');
  for (const name of files) assert.ok(page.includes(fs.readFileSync(new URL(name, folder), 'utf8')), path.basename(name));
  assert.ok(page.includes(fs.readFileSync(new URL('../ReportPage.css', folder), 'utf8')));
});

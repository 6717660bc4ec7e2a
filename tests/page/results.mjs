// A reporter for node's test runner: writes each case as GoogleTest writes its own, so that scripts/sum_test_results.py
// counts them alike.
import path from 'node:path';

/** A test file that could not run at all is reported under its own path; one that ran is no case of its own. */
function isCase(event) {
  const ranAsFile = event.data.file !== undefined && path.resolve(event.data.name) === event.data.file;
  return event.data.details?.type !== 'suite' && (event.type === 'test:fail' || !ranAsFile);
}

function caseOf({type, data}) {
  const result = {name: data.name, status: 'RUN', result: data.skip || data.todo ? 'SKIPPED' : 'COMPLETED'};
  if (type === 'test:fail') result.failures = [{failure: String(data.details?.error?.message ?? 'failed'), type: ''}];
  return result;
}

function suiteName(file) {
  return 'ReportPage.' + path.basename(file ?? 'unknown', '.test.mjs');
}

export default async function* results(events) {
  const suites = new Map();
  for await (const event of events) {
    if (event.type !== 'test:pass' && event.type !== 'test:fail') continue;
    if (!isCase(event)) continue;
    const suite = suiteName(event.data.file);
    suites.set(suite, [...suites.get(suite) ?? [], caseOf(event)]);
  }
  const testsuites = Array.from(suites, ([name, testsuite]) => ({name, testsuite}));
  yield JSON.stringify({testsuites}, null, 1) + '\n';
}

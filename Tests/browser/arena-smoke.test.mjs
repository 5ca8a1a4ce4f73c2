// The Arena's own smoke suite (Samples/Arena/Smoke, run by the reports.arena_smoke_run test as CI runs it): the
// JUnit file and the page say what the reports say, the AI on the map without navigation never gets within its
// distance threshold on the page (with a screenshot kept for a person to look at), and the Accessed None that
// fails log_ok is shown with its line.
import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { launch, openReport, reportsDir, screenshotDir } from './browser.mjs';
import { assertLineNeverCrosses, checkJUnitAgainstReports, checkPageAgainstReports, loadReports } from './suite-checks.mjs';

const suiteDir = path.join(reportsDir, 'arena-smoke');
const skip = fs.existsSync(path.join(suiteDir, 'reports')) ? false : 'the Arena has no smoke suite (Samples/Arena/Smoke)';

/** A failed expectation that a line should have crossed at least once, with the spec it belongs to. */
function missedThresholds(reports, map) {
  const found = [];
  for (const [name, report] of reports) {
    if (report.map !== map || report.ok) continue;
    for (const e of report.expectations ?? []) {
      if (!e.passed && e.severity !== 'warn' && e.when === 'ever' && ['gt', 'gte', 'lt', 'lte'].includes(e.op)) found.push({ name, report, e });
    }
  }
  return found;
}

let browser;
before(async () => { if (!skip) browser = await launch(); });
after(async () => { await browser?.close(); });

test('the suite exits 1 with passing and deliberately failing specs', { skip }, () => {
  const reports = loadReports(suiteDir);
  assert.ok([...reports.values()].some((r) => r.ok), 'some specs pass');
  assert.ok([...reports.values()].some((r) => !r.ok), 'some specs fail');
  assert.ok([...reports.values()].every((r) => r.status === 'complete'), 'every session ran to its end');
});

test('the JUnit file and the page say what the reports say', { skip }, async () => {
  const reports = loadReports(suiteDir);
  checkJUnitAgainstReports(path.join(suiteDir, 'out.xml'), reports);
  const { page, problems } = await openReport(browser.context, 'arena-smoke/out.html');
  await checkPageAgainstReports(page, reports);
  assert.deepEqual(problems, { consoleErrors: [], pageErrors: [], outsideRequests: [] });
  await page.close();
});

test('the AI on Arena_NoNav: its line never crosses its threshold, and the miss is marked', { skip }, async () => {
  const missed = missedThresholds(loadReports(suiteDir), 'Arena_NoNav');
  assert.ok(missed.length >= 1, 'a failing spec on Arena_NoNav misses a threshold it had to reach');
  const { page, problems } = await openReport(browser.context, 'arena-smoke/out.html');
  fs.mkdirSync(screenshotDir, { recursive: true });
  for (const { name, e } of missed) {
    const variable = e.selector ? e.spec.split(' ')[0].replace(/\.[^.]+$/, '') : e.spec.split(' ')[0];
    const section = page.locator(`section.spec[data-spec="${name}"]`);
    const figure = section.locator(`figure[data-var="${variable}"]`);
    assert.equal(await figure.count(), 1, `${name}: a plot of ${variable}`);
    await assertLineNeverCrosses(figure, e);
    const marker = figure.locator(`g.violation[data-expectation="${e.id}"]`);
    assert.ok(await marker.first().isVisible(), `${name}/${e.id}: the miss is marked`);
    await section.screenshot({ path: path.join(screenshotDir, `${name}.png`) });
    await figure.screenshot({ path: path.join(screenshotDir, `${name}-${variable}.png`) });
  }
  assert.deepEqual(problems, { consoleErrors: [], pageErrors: [], outsideRequests: [] });
  await page.close();
});

test('the Accessed None that fails log_ok is named in the JUnit file and listed on the page', { skip }, async () => {
  const reports = loadReports(suiteDir);
  const failing = [...reports].filter(([, r]) => !r.log_ok && (r.grouped_counts?.active_runtime?.must_absent?.['Accessed None'] ?? 0) > 0);
  assert.ok(failing.length >= 1, 'a spec fails log_ok on Accessed None');
  const junit = fs.readFileSync(path.join(suiteDir, 'out.xml'), 'utf8');
  const { page, problems } = await openReport(browser.context, 'arena-smoke/out.html');
  for (const [name] of failing) {
    const suite = junit.slice(junit.indexOf(`<testsuite name="${name}"`));
    assert.match(suite.slice(0, suite.indexOf('</testsuite>')), /<testcase name="log_ok"[^>]*>\s*<failure message="log_ok is false: [^"]*'Accessed None' x\d+/);
    const lines = page.locator(`section.spec[data-spec="${name}"] table.log-lines tbody tr`);
    assert.ok(await lines.count() >= 1, `${name}: the matched lines are listed`);
    assert.match(await lines.first().textContent(), /Accessed None/);
  }
  assert.deepEqual(problems, { consoleErrors: [], pageErrors: [], outsideRequests: [] });
  await page.close();
});

// The report views of a suite the harness really ran (`tarnwick smoke` over Tests/TarnwickReports/Suites/Arena,
// written by the reports.suite_run test): the JUnit file and the HTML page must say what the sessions' JSON
// reports say, spec by spec and expectation by expectation, and the failing AI spec's plot must show its line
// never reaching its threshold.
import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { parse } from 'test-results-parser';
import { launch, openReport, reportsDir, screenshotDir } from './browser.mjs';

const suiteDir = path.join(reportsDir, 'arena-suite');
const failingAiSpec = 'fail-enemy-without-navigation';

/** Each spec's JSON report as `tarnwick smoke --report DIR` wrote it, by spec name, in run order. */
function loadReports() {
  const dir = path.join(suiteDir, 'reports');
  return new Map(fs.readdirSync(dir).filter((f) => f.endsWith('.json')).sort()
    .map((f) => [path.basename(f, '.json'), JSON.parse(fs.readFileSync(path.join(dir, f), 'utf8'))]));
}

/** How a CI reader must see an expectation: a failed error-severity entry fails, a failed warn passes. */
function expectedStatus(expectation) {
  return expectation.passed || expectation.severity === 'warn' ? 'PASS' : 'FAIL';
}

let browser;
before(async () => { browser = await launch(); });
after(async () => { await browser?.close(); });

test('the suite ran every spec, and the failing ones are the ones expected to fail', () => {
  const reports = loadReports();
  assert.deepEqual([...reports.keys()], ['fail-broken-blueprint', 'fail-enemy-without-navigation', 'fail-hero-burns-in-fire',
    'pass-enemy-patrols', 'pass-hero-walks-through-fire']);
  for (const [name, report] of reports) assert.equal(report.ok, name.startsWith('pass-'), `${name}: ok`);
  const stdout = fs.readFileSync(path.join(suiteDir, 'stdout.txt'), 'utf8');
  assert.match(stdout, /^suite: 5 spec\(s\): 2 passed, 3 failed, 0 refused, 0 unreadable$/m);
  // Not on a terminal: no progress line was drawn.
  assert.doesNotMatch(fs.readFileSync(path.join(suiteDir, 'stderr.txt'), 'utf8'), /\r|\[1\/5\]/);
});

test('the JUnit file says what the reports say', () => {
  const reports = loadReports();
  const result = parse({ type: 'junit', files: [path.join(suiteDir, 'out.xml')] });
  assert.equal(result.status, 'FAIL');
  assert.deepEqual(result.suites.map((s) => s.name), [...reports.keys()]);
  for (const suite of result.suites) {
    const report = reports.get(suite.name);
    assert.equal(suite.metadata.session_id, report.session_id);
    const cases = new Map(suite.cases.map((c) => [c.name, c]));
    for (const e of report.expectations) {
      const junitCase = cases.get(`${e.id}: ${e.spec}`);
      assert.ok(junitCase, `${suite.name}: a case for ${e.id}`);
      assert.equal(junitCase.status, expectedStatus(e), `${suite.name}/${e.id}`);
      if (expectedStatus(e) === 'FAIL') assert.ok(junitCase.failure.startsWith(e.message), `${suite.name}/${e.id}: the failure is the sentence`);
    }
    for (const verdict of ['log_ok', 'sample_ok', 'stable_ok']) {
      assert.equal(cases.get(verdict).status, report[verdict] ? 'PASS' : 'FAIL', `${suite.name}/${verdict}`);
    }
    assert.equal(suite.cases.length, report.expectations.length + 3, `${suite.name}: nothing else`);
  }
  // The broken Blueprint's log failure names the pattern and the line, with its time after the marker.
  const log = result.suites.find((s) => s.name === 'fail-broken-blueprint').cases.find((c) => c.name === 'log_ok');
  assert.match(log.failure, /Accessed None/);
  assert.match(log.stack_trace, /t=2\.\d+s \[active_runtime\] LogScript: warning: Accessed None trying to read property TargetActor/);
});

test('the HTML page says what the reports say, spec by spec', async () => {
  const reports = loadReports();
  const { page, problems } = await openReport(browser.context, 'arena-suite/out.html');
  assert.equal(await page.locator('.suite-banner .verdict-badge').textContent(), 'FAIL');
  const rows = page.locator('table.suite-table tbody tr');
  assert.equal(await rows.count(), reports.size);
  for (const [name, report] of reports) {
    const row = page.locator(`table.suite-table tbody tr[data-spec="${name}"]`);
    assert.equal(await row.locator('td').nth(1).textContent(), report.ok ? 'PASS' : 'FAIL', `${name}: verdict`);
    assert.equal(await row.locator('td').nth(7).textContent(), report.expectations_failed.join(', '), `${name}: failed ids`);

    const section = page.locator(`section.spec[data-spec="${name}"]`);
    assert.equal(await section.locator('figure.plot').count(), Object.keys(report.var_summary).length, `${name}: one plot per variable`);
    for (const e of report.expectations) {
      const chip = section.locator(`tr.expectation[data-expectation="${e.id}"] .chip`);
      assert.equal(await chip.textContent(), e.passed ? 'pass' : e.severity === 'warn' ? 'warn' : 'FAIL', `${name}/${e.id}`);
    }
  }
  assert.deepEqual(problems, { consoleErrors: [], pageErrors: [], outsideRequests: [] });
  await page.close();
});

test('the failing AI spec: its speed line never reaches its threshold, and the miss is marked', async () => {
  const report = loadReports().get(failingAiSpec);
  const failed = report.expectations.find((e) => e.id === 'enemy_sets_off');
  assert.equal(failed.passed, false);
  const { page, problems } = await openReport(browser.context, 'arena-suite/out.html');
  const section = page.locator(`section.spec[data-spec="${failingAiSpec}"]`);
  const figure = section.locator('figure[data-var="EnemyVelocity"]');

  const geometry = await figure.evaluate((f) => {
    const svg = f.querySelector('svg.line-plot');
    const points = [...svg.querySelectorAll('polyline.line')].flatMap((line) =>
      line.getAttribute('points').trim().split(' ').map((pair) => pair.split(',').map(Number)));
    const threshold = svg.querySelector('g.threshold[data-expectation="enemy_sets_off"] line');
    return { points, thresholdY: threshold ? Number(threshold.getAttribute('y1')) : null };
  });
  assert.ok(geometry.thresholdY !== null, 'the "> 300" threshold is drawn');
  assert.ok(geometry.points.length >= 2, 'the line is drawn');
  // Screen y grows downward: every point of a speed that stays under 300 lies below the threshold's line.
  for (const [, y] of geometry.points) assert.ok(y > geometry.thresholdY, `a point at y=${y} reached the threshold at ${geometry.thresholdY}`);

  const marker = figure.locator('g.violation[data-expectation="enemy_sets_off"]');
  assert.equal(await marker.count(), 1);
  assert.ok(await marker.locator('circle').isVisible());
  assert.ok(await section.locator('figure[data-var="EnemyReached"] g.deadline[data-expectation="enemy_arrives_in_time"]').isVisible());

  fs.mkdirSync(screenshotDir, { recursive: true });
  await section.screenshot({ path: path.join(screenshotDir, `${failingAiSpec}.png`) });
  await figure.screenshot({ path: path.join(screenshotDir, `${failingAiSpec}-EnemyVelocity.png`) });
  assert.deepEqual(problems, { consoleErrors: [], pageErrors: [], outsideRequests: [] });
  await page.close();
});

test('a violated "always": the marker sits on the violating sample, and a window shows over a bool strip', async () => {
  const report = loadReports().get('fail-hero-burns-in-fire');
  const failed = report.expectations.find((e) => e.id === 'fire_is_harmless');
  const violating = report.samples[failed.first_violation.sample_index];
  assert.equal(violating.values.Health, failed.first_violation.actual);
  const { page, problems } = await openReport(browser.context, 'arena-suite/out.html');
  const section = page.locator('section.spec[data-spec="fail-hero-burns-in-fire"]');
  const figure = section.locator('figure[data-var="Health"]');
  const marker = figure.locator('g.violation[data-expectation="fire_is_harmless"]');
  assert.ok(Math.abs(Number(await marker.getAttribute('data-t')) - violating.t) < 1e-3, 'marked at the time of the violating sample');
  // The circle is drawn on the plotted line: one of the line's points is the circle's centre.
  const onLine = await figure.evaluate((f) => {
    const circle = f.querySelector('g.violation[data-expectation="fire_is_harmless"] circle');
    const cx = Number(circle.getAttribute('cx'));
    const cy = Number(circle.getAttribute('cy'));
    const points = [...f.querySelectorAll('svg.line-plot polyline.line')].flatMap((line) =>
      line.getAttribute('points').trim().split(' ').map((pair) => pair.split(',').map(Number)));
    return points.some(([x, y]) => Math.abs(x - cx) < 0.5 && Math.abs(y - cy) < 0.5);
  });
  assert.ok(onLine, 'the marker lies on a drawn point of the line');
  // The warn-severity miss is marked in its own colour.
  assert.ok(await figure.locator('g.violation.warn[data-expectation="health_recovers"]').isVisible());

  const window = section.locator('figure[data-var="ShouldMove"] rect.window.over[data-expectation="hero_moves_while_w_held"]');
  assert.ok(await window.isVisible());
  const box = await window.boundingBox();
  const strip = await section.locator('figure[data-var="ShouldMove"] svg.bool-plot').boundingBox();
  assert.ok(box.width > strip.width * 0.2 && box.width < strip.width * 0.4, 'the window covers 0.8 s to 2 s of 4 s');
  assert.deepEqual(problems, { consoleErrors: [], pageErrors: [], outsideRequests: [] });
  await page.close();
});

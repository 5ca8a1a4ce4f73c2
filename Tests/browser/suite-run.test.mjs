// The report views of a suite the harness really ran (`tarnwick smoke` over Tests/TarnwickReports/Suites/Arena,
// written by the reports.suite_run test): the JUnit file and the HTML page must say what the sessions' JSON
// reports say, spec by spec and expectation by expectation; a violated sample is marked on its line, a warning in
// its own colour, and a window shows over a bool strip. (The Arena's own suite has the AI that never arrives.)
import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { launch, openReport, reportsDir } from './browser.mjs';
import { checkJUnitAgainstReports, checkPageAgainstReports, loadReports as loadReportsOf } from './suite-checks.mjs';

const suiteDir = path.join(reportsDir, 'arena-suite');
const loadReports = () => loadReportsOf(suiteDir);

let browser;
before(async () => { browser = await launch(); });
after(async () => { await browser?.close(); });

test('the suite ran every spec, and the failing ones are the ones expected to fail', () => {
  const reports = loadReports();
  assert.deepEqual([...reports.keys()], ['fail-broken-blueprint', 'fail-hero-burns-in-fire', 'pass-enemy-patrols',
    'pass-hero-walks-through-fire']);
  for (const [name, report] of reports) assert.equal(report.ok, name.startsWith('pass-'), `${name}: ok`);
  const stdout = fs.readFileSync(path.join(suiteDir, 'stdout.txt'), 'utf8');
  assert.match(stdout, /^suite: 4 spec\(s\): 2 passed, 2 failed, 0 refused, 0 unreadable$/m);
  // Not on a terminal: no progress line was drawn.
  assert.doesNotMatch(fs.readFileSync(path.join(suiteDir, 'stderr.txt'), 'utf8'), /\r|\[1\/4\]/);
});

test('the JUnit file says what the reports say', () => {
  const result = checkJUnitAgainstReports(path.join(suiteDir, 'out.xml'), loadReports());
  // The broken Blueprint's log failure names the pattern and the line, with its time after the marker.
  const log = result.suites.find((s) => s.name === 'fail-broken-blueprint').cases.find((c) => c.name === 'log_ok');
  assert.match(log.failure, /Accessed None/);
  assert.match(log.stack_trace, /t=2\.\d+s \[active_runtime\] LogScript: warning: Accessed None trying to read property TargetActor/);
});

test('the HTML page says what the reports say, spec by spec', async () => {
  const { page, problems } = await openReport(browser.context, 'arena-suite/out.html');
  await checkPageAgainstReports(page, loadReports());
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

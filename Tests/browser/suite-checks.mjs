// Checks shared by the tests of suites the harness really ran: what `tarnwick smoke --report DIR --junit --html`
// left must agree, spec by spec and expectation by expectation, with the sessions' own JSON reports.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { parse } from 'test-results-parser';

/** Each spec's JSON report as `--report DIR` wrote it, by spec name, in name order (a folder's run order). */
export function loadReports(suiteDir) {
  const dir = path.join(suiteDir, 'reports');
  return new Map(fs.readdirSync(dir).filter((f) => f.endsWith('.json')).sort()
    .map((f) => [path.basename(f, '.json'), JSON.parse(fs.readFileSync(path.join(dir, f), 'utf8'))]));
}

/** How a CI reader must see an expectation: a failed error-severity entry fails, a failed warn passes. */
function expectedStatus(expectation) {
  return expectation.passed || expectation.severity === 'warn' ? 'PASS' : 'FAIL';
}

/** The JUnit file read back by a JUnit reader: a suite for each spec, a case for each expectation and verdict. */
export function checkJUnitAgainstReports(xmlFile, reports) {
  const result = parse({ type: 'junit', files: [xmlFile] });
  assert.equal(result.status, [...reports.values()].every((r) => r.ok) ? 'PASS' : 'FAIL');
  assert.deepEqual(result.suites.map((s) => s.name), [...reports.keys()]);
  for (const suite of result.suites) {
    const report = reports.get(suite.name);
    assert.equal(suite.metadata.session_id, report.session_id);
    const cases = new Map(suite.cases.map((c) => [c.name, c]));
    for (const e of report.expectations ?? []) {
      const junitCase = cases.get(`${e.id}: ${e.spec}`);
      assert.ok(junitCase, `${suite.name}: a case for ${e.id}`);
      assert.equal(junitCase.status, expectedStatus(e), `${suite.name}/${e.id}`);
      if (expectedStatus(e) === 'FAIL') assert.ok(junitCase.failure.startsWith(e.message), `${suite.name}/${e.id}: the failure is the sentence`);
    }
    for (const verdict of ['log_ok', 'sample_ok', 'stable_ok']) {
      assert.equal(cases.get(verdict).status, report[verdict] ? 'PASS' : 'FAIL', `${suite.name}/${verdict}`);
    }
    // A session that did not complete adds a `session` error case.
    const extra = report.status === 'complete' && report.pie_ready ? 0 : 1;
    assert.equal(suite.cases.length, (report.expectations ?? []).length + 3 + extra, `${suite.name}: nothing else`);
  }
  return result;
}

/** The suite page: a table row and a section for each spec, each saying what its report says. */
export async function checkPageAgainstReports(page, reports) {
  const allOk = [...reports.values()].every((r) => r.ok);
  assert.equal(await page.locator('.suite-banner .verdict-badge').textContent(), allOk ? 'PASS' : 'FAIL');
  assert.equal(await page.locator('table.suite-table tbody tr').count(), reports.size);
  for (const [name, report] of reports) {
    const row = page.locator(`table.suite-table tbody tr[data-spec="${name}"]`);
    assert.equal(await row.locator('td').nth(1).textContent(), report.ok ? 'PASS' : 'FAIL', `${name}: verdict`);
    assert.equal(await row.locator('td').nth(7).textContent(), (report.expectations_failed ?? []).join(', '), `${name}: failed ids`);

    const section = page.locator(`section.spec[data-spec="${name}"]`);
    // Long object paths and log lines wrap inside their cells instead of pushing the section past the page.
    const [scrollWidth, clientWidth] = await section.evaluate((s) => [s.scrollWidth, s.clientWidth]);
    assert.ok(scrollWidth <= clientWidth, `${name}: its section is ${scrollWidth}px wide inside ${clientWidth}px`);
    assert.equal(await section.locator('figure.plot').count(), Object.keys(report.var_summary).length, `${name}: one plot per variable`);
    for (const e of report.expectations ?? []) {
      const chip = section.locator(`tr.expectation[data-expectation="${e.id}"] .chip`);
      assert.equal(await chip.textContent(), e.passed ? 'pass' : e.severity === 'warn' ? 'warn' : 'FAIL', `${name}/${e.id}`);
    }
  }
}

/**
 * A line plot's drawn points and an expectation's threshold and window, in the plot's own coordinates. An
 * expectation on a vector's x, y or z is drawn on the components plot, against that component's line.
 */
export async function lineGeometry(figure, expectationId, selector = '') {
  return figure.evaluate((f, [id, sel]) => {
    const component = ['x', 'y', 'z'].includes(sel);
    const svg = f.querySelector(component ? 'svg.component-plot' : 'svg.line-plot');
    const lines = component ? `polyline.comp-${sel}` : 'polyline.line';
    const points = [...svg.querySelectorAll(lines)].flatMap((line) =>
      line.getAttribute('points').trim().split(' ').map((pair) => pair.split(',').map(Number)));
    const threshold = svg.querySelector(`g.threshold[data-expectation="${id}"] line`);
    const window = svg.querySelector(`rect.window[data-expectation="${id}"]`);
    return {
      points,
      thresholdY: threshold ? Number(threshold.getAttribute('y1')) : null,
      windowX: window ? [Number(window.getAttribute('x')), Number(window.getAttribute('x')) + Number(window.getAttribute('width'))] : null,
    };
  }, [expectationId, selector]);
}

/**
 * For a failed "reaches a threshold at least once" expectation (gt, gte, lt, lte with when "ever"): every drawn
 * point inside its window lies on the side of the threshold's line that never satisfied it. Screen y grows
 * downward, so a value that stays under a "> v" line is drawn below it (a larger y).
 */
export async function assertLineNeverCrosses(figure, expectation) {
  const geometry = await lineGeometry(figure, expectation.id, expectation.selector);
  assert.ok(geometry.thresholdY !== null, `${expectation.id}: its threshold is drawn`);
  const inWindow = geometry.points.filter(([x]) => !geometry.windowX || (x >= geometry.windowX[0] - 0.5 && x <= geometry.windowX[1] + 0.5));
  assert.ok(inWindow.length >= 2, `${expectation.id}: the line is drawn inside its window`);
  const wantsAbove = expectation.op === 'gt' || expectation.op === 'gte';
  for (const [x, y] of inWindow) {
    assert.ok(wantsAbove ? y > geometry.thresholdY : y < geometry.thresholdY,
      `${expectation.id}: the point at (${x}, ${y}) reached the threshold at y=${geometry.thresholdY}`);
  }
}

// `tarnwick smoke` over a suite: several spec files or folders run in one editor, each from a fresh PIE; the exit
// code of the worst outcome; the reports, JUnit file and HTML page it leaves; a spec's verdict that does not
// depend on its neighbours; and a progress line drawn only on a terminal.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { TarnwickBin, makeTempProject, removeTempProject } from './helpers.mjs';

/** Short specs on the Arena: one that passes, one that fails an expectation, one run_pie_smoke refuses. */
const Specs = {
  walk: {
    map: '/Game/Maps/Arena',
    duration: 2,
    input_events: [{ event: 'down', key: 'W', at_seconds: 0.2 }, { event: 'up', key: 'W', at_seconds: 1.2 }],
    sample_spec: [{ name: 'Speed', source: 'anim', path: 'GroundSpeed' }],
    expect: [{ id: 'runs', op: 'gt', var: 'Speed', value: 400, when: 'ever' }],
  },
  idle: {
    map: '/Game/Maps/Arena',
    duration: 1,
    sample_spec: [{ name: 'Speed', source: 'anim', path: 'GroundSpeed' }],
    expect: [{ id: 'runs', op: 'gt', var: 'Speed', value: 400, when: 'ever' }],
  },
  refused: { duration: 1, clock: 'real' },
};

describe('tarnwick smoke over a suite', { timeout: 150000 }, () => {
  let projectDir;
  let scratch;

  before(() => {
    projectDir = makeTempProject();
    scratch = fs.mkdtempSync(path.join(projectDir, 'Saved-'));
  });

  after(() => removeTempProject(projectDir));

  /** Writes the named specs into a fresh folder as <prefix><name>.json. */
  function specFolder(folder, names, prefix = '') {
    const dir = path.join(scratch, folder);
    fs.mkdirSync(dir, { recursive: true });
    for (const name of names) fs.writeFileSync(path.join(dir, `${prefix}${name}.json`), JSON.stringify(Specs[name]));
    return dir;
  }

  function smoke(args, options = {}) {
    const run = spawnSync(TarnwickBin, ['smoke', '--project', projectDir, ...args], { encoding: 'utf8', timeout: 60000, ...options });
    assert.equal(run.error, undefined, `tarnwick smoke ${args.join(' ')}: ${run.error}`);
    return run;
  }

  test('the exit code is that of the worst outcome, and every spec still runs', () => {
    const passing = specFolder('passing', ['walk']);
    assert.equal(smoke([passing]).status, 0);

    const mixed = specFolder('mixed', ['walk', 'idle'], '');
    const failed = smoke([mixed]);
    assert.equal(failed.status, 1, failed.stdout);
    assert.match(failed.stdout, /^suite: 2 spec\(s\): 1 passed, 1 failed, 0 refused, 0 unreadable$/m);

    const refused = specFolder('refused', ['idle', 'refused']);
    const broken = path.join(refused, 'broken.json');
    fs.writeFileSync(broken, '{"duration": 1,');
    const run = smoke([refused, '--report', path.join(scratch, 'refused-reports'), '--junit', path.join(scratch, 'refused.xml')]);
    assert.equal(run.status, 2, run.stdout);
    assert.match(run.stdout, /^suite: 3 spec\(s\): 0 passed, 1 failed, 1 refused, 1 unreadable$/m);
    assert.match(run.stderr, /Spec file '.*broken\.json' is not valid JSON\./);
    // The failing spec ran and has its report; the refusal has its answer; the unreadable file has no report.
    assert.deepEqual(fs.readdirSync(path.join(scratch, 'refused-reports')).sort(), ['idle.json', 'refused.json']);
    assert.equal(JSON.parse(fs.readFileSync(path.join(scratch, 'refused-reports', 'idle.json'), 'utf8')).ok, false);
    assert.equal(JSON.parse(fs.readFileSync(path.join(scratch, 'refused-reports', 'refused.json'), 'utf8')).error.code, -32603);
    const junit = fs.readFileSync(path.join(scratch, 'refused.xml'), 'utf8');
    assert.match(junit, /<testsuite name="broken" tests="1" failures="0" errors="1"/);
    assert.match(junit, /<testsuite name="refused" tests="1" failures="0" errors="1"/);
  });

  test('files run in the order given, and a spec name met twice gets a number', () => {
    const a = specFolder('order-a', ['walk']);
    const b = specFolder('order-b', ['walk']);
    const idle = path.join(specFolder('order-c', ['idle']), 'idle.json');
    const reports = path.join(scratch, 'order-reports');
    const run = smoke([idle, a, b, '--report', reports, '--junit', path.join(scratch, 'order.xml')]);
    assert.equal(run.status, 1);
    const names = [...fs.readFileSync(path.join(scratch, 'order.xml'), 'utf8').matchAll(/<testsuite name="([^"]+)"/g)].map((m) => m[1]);
    assert.deepEqual(names, ['idle', 'walk', 'walk_2']);
    assert.deepEqual(fs.readdirSync(reports).sort(), ['idle.json', 'walk.json', 'walk_2.json']);
    const ids = names.map((n) => JSON.parse(fs.readFileSync(path.join(reports, `${n}.json`), 'utf8')).session_id.replace(/_\d{6}$/, ''));
    assert.deepEqual(ids, ['pie_smoke_0', 'pie_smoke_1', 'pie_smoke_2'], 'one editor ran them in turn');
  });

  test("a spec's verdicts and samples in a suite are those it gets alone", () => {
    const dir = specFolder('neighbours', ['idle', 'walk'], '');
    // Before `walk`: a spec that leaves Arena_NoNav open and a spec without a map, which must find the start-up
    // level again rather than the level its neighbour left.
    fs.writeFileSync(path.join(dir, '0-nonav.json'), JSON.stringify({ map: '/Game/Maps/Arena_NoNav', duration: 1 }));
    fs.writeFileSync(path.join(dir, '1-nomap.json'), JSON.stringify({ duration: 1, log_patterns: { must_present: ['TARNWICK_SMOKE begin'] } }));
    const reports = path.join(scratch, 'neighbour-reports');
    smoke([dir, '--report', reports]);
    const alone = path.join(scratch, 'walk-alone.json');
    assert.equal(smoke([path.join(dir, 'walk.json'), '--report', alone]).status, 0);

    const read = (file) => JSON.parse(fs.readFileSync(file, 'utf8'));
    const inSuite = read(path.join(reports, 'walk.json'));
    const byItself = read(alone);
    for (const key of ['status', 'elapsed_seconds', 'var_summary', 'expectations', 'log_ok', 'sample_ok', 'expectations_ok', 'ok']) {
      assert.deepEqual(inSuite[key], byItself[key], key);
    }
    // Frame numbers count from the editor's start, so only the times and values of the rows compare.
    const rows = (r) => r.samples.map((s) => [s.t, s.values]);
    assert.deepEqual(rows(inSuite), rows(byItself));
    const noMap = read(path.join(reports, '1-nomap.json'));
    assert.equal(noMap.map, 'Arena', 'the start-up level, not the one left open');
    // Its own marker line is active runtime: the previous session's "BeginTearingDown" did not open its log.
    assert.deepEqual(noMap.missing_must_present, []);
    assert.equal(noMap.log_ok, true);
  });

  test('one spec file: --report names the file, --html writes its own page, --junit one suite', () => {
    const dir = specFolder('single', ['idle']);
    const out = path.join(scratch, 'single-out');
    const run = smoke([path.join(dir, 'idle.json'), '--report', path.join(out, 'idle-report.json'), '--junit', path.join(out, 'idle.xml'),
      '--html', path.join(out, 'idle.html')]);
    assert.equal(run.status, 1);
    assert.doesNotMatch(run.stdout, /^suite:/m, 'one spec prints no suite tally');
    assert.equal(JSON.parse(fs.readFileSync(path.join(out, 'idle-report.json'), 'utf8')).ok, false);
    const html = fs.readFileSync(path.join(out, 'idle.html'), 'utf8');
    assert.match(html, /<title>idle — FAIL<\/title>/);
    assert.doesNotMatch(html, /<table class="suite-table"/);
    assert.equal([...fs.readFileSync(path.join(out, 'idle.xml'), 'utf8').matchAll(/<testsuite /g)].length, 1);
  });

  test('output paths that cannot be used are refused before anything runs', () => {
    const dir = specFolder('paths', ['walk', 'idle']);
    const file = path.join(scratch, 'a-file.json');
    fs.writeFileSync(file, '{}');
    const junit = path.join(scratch, 'paths.xml');
    const run = smoke([dir, '--report', file, '--junit', junit]);
    assert.equal(run.status, 2);
    assert.match(run.stderr, /--report '.*a-file\.json' is a file; with a folder or several specs it names a folder/);
    assert.equal(fs.existsSync(junit), false, 'nothing ran, nothing was written');

    const same = smoke([dir, '--junit', junit, '--html', junit]);
    assert.equal(same.status, 2);
    assert.match(same.stderr, /--junit and --html both name/);
    assert.equal(smoke([path.join(dir, 'walk.json'), '--report', scratch]).status, 2);
  });

  test('the progress line is drawn on a terminal and nowhere else', () => {
    const dir = specFolder('progress', ['walk', 'idle']);
    const piped = smoke([dir]);
    assert.doesNotMatch(piped.stderr, /\[1\/2\]/);
    assert.doesNotMatch(piped.stdout, /\[1\/2\]/);

    // `script` gives the run a terminal of its own; everything it wrote comes back on script's stdout.
    const command = [TarnwickBin, 'smoke', '--project', projectDir, dir].map((a) => `'${a}'`).join(' ');
    const onTerminal = spawnSync('script', ['-qec', command, '/dev/null'], { encoding: 'utf8', timeout: 60000 });
    assert.equal(onTerminal.status, 1);
    assert.match(onTerminal.stdout, /\r\[1\/2\] idle {2}t=\d\.\d\ds of 1s {2}\d+ frames/);
    assert.match(onTerminal.stdout, /\r\[1\/2\] idle {2}t=1\.0\ds of 1s {2}\d+ frames {2}FAIL\x1b\[K\r?\n/);
    assert.match(onTerminal.stdout, /\r\[2\/2\] walk {2}t=2\.0\ds of 2s {2}\d+ frames {2}PASS\x1b\[K\r?\n/);
  });
});

#!/usr/bin/env node
// Times `tarnwick smoke` over a suite as CI runs it: one process, every spec of the folder in turn on the virtual
// clock, with the JUnit file, the HTML page and the JSON reports written. Each run starts on a fresh copy of the
// project; the figure is the whole command, editor start-up and file writing included.
//
//   node Benchmarks/smoke-suite-bench.mjs [--tarnwick PATH] [--suite DIR] [--runs 10] [--check]
//
// --suite defaults to Samples/Arena/Smoke, or to the tests' own Arena suite while that folder does not exist.
// With --check it exits 1 when the median run misses the target below (2 when a run fails to run at all).
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const Here = path.dirname(fileURLToPath(import.meta.url));
const RepoRoot = path.resolve(Here, '..');
const TargetSeconds = 5;

function parseArgs(argv) {
  const arenaSmoke = path.join(RepoRoot, 'Samples', 'Arena', 'Smoke');
  const options = {
    tarnwick: process.env.TARNWICK_BIN || path.join(RepoRoot, 'build', 'release', 'Programs', 'tarnwick', 'tarnwick'),
    suite: fs.existsSync(arenaSmoke) ? arenaSmoke : path.join(RepoRoot, 'Tests', 'TarnwickReports', 'Suites', 'Arena'),
    runs: 10,
    check: false,
  };
  for (let i = 2; i < argv.length; i++) {
    const arg = argv[i];
    if (arg === '--check') options.check = true;
    else if (arg === '--tarnwick') options.tarnwick = argv[++i];
    else if (arg === '--suite') options.suite = path.resolve(argv[++i]);
    else if (arg === '--runs') options.runs = Number(argv[++i]);
    else {
      console.error(`smoke-suite-bench: unknown argument ${arg}`);
      process.exit(2);
    }
  }
  return options;
}

function median(values) {
  const sorted = [...values].sort((a, b) => a - b);
  const mid = Math.floor(sorted.length / 2);
  return sorted.length % 2 ? sorted[mid] : (sorted[mid - 1] + sorted[mid]) / 2;
}

/** One run under bash's `time`, which reports the child's wall, user and system seconds. */
function timedRun(options, scratch, index) {
  const project = path.join(scratch, `project-${index}`);
  fs.cpSync(path.join(RepoRoot, 'Samples', 'Arena'), project, { recursive: true, filter: (src) => !/[\\/](Saved|Intermediate|Smoke)$/.test(src) });
  const out = path.join(scratch, `out-${index}`);
  const quote = (s) => `'${s.replace(/'/g, `'\\''`)}'`;
  const command = [options.tarnwick, 'smoke', '--log-level', 'error', '--project', project, options.suite,
    '--junit', path.join(out, 'out.xml'), '--html', path.join(out, 'out.html'), '--report', path.join(out, 'reports')].map(quote).join(' ');
  const run = spawnSync('bash', ['-c', `TIMEFORMAT='%R %U %S'; time ${command} >${quote(path.join(scratch, 'stdout.txt'))} 2>/dev/null`],
    { encoding: 'utf8' });
  const [wall, user, sys] = run.stderr.trim().split('\n').pop().split(' ').map(Number);
  if (run.status !== 0 && run.status !== 1) {
    console.error(`smoke-suite-bench: tarnwick smoke exited ${run.status}\n${fs.readFileSync(path.join(scratch, 'stdout.txt'), 'utf8')}`);
    process.exit(2);
  }
  const stdout = fs.readFileSync(path.join(scratch, 'stdout.txt'), 'utf8');
  const sessionSeconds = fs.readdirSync(path.join(out, 'reports')).reduce((sum, file) => {
    const report = JSON.parse(fs.readFileSync(path.join(out, 'reports', file), 'utf8'));
    return sum + (report.determinism?.session_seconds ?? 0);
  }, 0);
  fs.rmSync(project, { recursive: true, force: true });
  return { wall, cpu: user + sys, exit: run.status, tally: stdout.match(/^suite: .*$/m)?.[0] ?? '', sessionSeconds };
}

const options = parseArgs(process.argv);
const scratch = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnwick-suite-bench-'));
try {
  const runs = [];
  for (let i = 0; i < options.runs; i++) runs.push(timedRun(options, scratch, i));
  const walls = runs.map((r) => r.wall);
  const cpus = runs.map((r) => r.cpu);
  console.log(`suite: ${path.relative(RepoRoot, options.suite)} (${runs[0].tally}, exit ${runs[0].exit})`);
  console.log(`session time per run: ${runs[0].sessionSeconds.toFixed(2)} s on the virtual clock`);
  console.log(`wall per run: median ${median(walls).toFixed(3)} s, min ${Math.min(...walls).toFixed(3)} s, max ${Math.max(...walls).toFixed(3)} s over ${runs.length} runs`);
  console.log(`CPU per run:  median ${median(cpus).toFixed(3)} s`);
  const met = median(walls) < TargetSeconds;
  console.log(`target: under ${TargetSeconds} s in total: ${met ? 'met' : 'MISSED'}`);
  if (options.check && !met) process.exitCode = 1;
} finally {
  fs.rmSync(scratch, { recursive: true, force: true });
}

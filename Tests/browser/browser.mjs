// Debian's chromium driven through playwright-core: headless, no network services, a fresh profile per launch.
// Every page is opened from a file and watched for console errors, page errors and requests that leave it.
import { chromium } from 'playwright-core';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { pathToFileURL } from 'node:url';

export const reportsDir = process.env.TARNWICK_REPORTS_DIR ?? path.resolve('../../build/release/Testing/reports');
export const screenshotDir = path.join(reportsDir, 'screenshots');

const args = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];

export async function launch() {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnwick-chromium-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    headless: true,
    args,
    viewport: { width: 1200, height: 900 },
  });
  return {
    context,
    async close() {
      await context.close();
      fs.rmSync(profile, { recursive: true, force: true });
    },
  };
}

/** Opens a report file and records what a careful reader's browser would complain about. */
export async function openReport(context, file) {
  const page = await context.newPage();
  const problems = { consoleErrors: [], pageErrors: [], outsideRequests: [] };
  page.on('console', (message) => {
    if (message.type() === 'error' || message.type() === 'warning') problems.consoleErrors.push(message.text());
  });
  page.on('pageerror', (error) => problems.pageErrors.push(String(error)));
  page.on('request', (request) => {
    const url = request.url();
    if (!url.startsWith('file://') && !url.startsWith('data:')) problems.outsideRequests.push(url);
  });
  const url = pathToFileURL(path.join(reportsDir, file)).href;
  await page.goto(url, { waitUntil: 'load' });
  return { page, problems, url };
}

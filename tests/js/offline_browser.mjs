// The system's Chromium (CHROMIUM, by default /usr/bin/chromium) driven by
// playwright-core: headless, kept off the network, in a fresh profile
// folder that is removed afterwards, also when the checks fail.
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { chromium } from 'playwright-core';

// Runs `use(context)` in a new browser context; a browser that cannot start
// or a check that throws is reported to `problems`.
export async function withOfflineBrowser(problems, options, use) {
  const browserPath = process.env.CHROMIUM ?? '/usr/bin/chromium';
  const profile = mkdtempSync(join(tmpdir(), 'pcd-browser-'));
  let context;
  try {
    context = await chromium.launchPersistentContext(profile, {
      executablePath: browserPath,
      headless: true,
      args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
             '--disable-background-networking', '--disable-component-update', '--disable-sync'],
      ...options,
    });
    await use(context);
  } catch (error) {
    problems.expect(false, `cannot check in the browser ${browserPath}: ${error.message}`);
  } finally {
    await context?.close();
    rmSync(profile, { recursive: true, force: true });
  }
}

// Opens catalog pages of pcd-import's html format in a real headless browser
// (the system's Chromium, driven by playwright-core, network refused) and
// checks them against the model's JSON document: no console error and no
// request besides the page itself; a section for every table, view and
// procedure; the search box leaves just the matches, or says that nothing
// matches; clicking a foreign key or a table's box in a diagram lands on the
// table, which the navigation marks; views are marked in the navigation;
// diagrams zoom with keys and the wheel and pan by dragging; every text of
// a diagram's box stays inside it, in the font it was measured in; text that
// looks like markup stays text.
// Prints the page's size and the time it took to become interactive.
//
//   node check_html.mjs [--screenshot=PNG] [--schemas=A,B] MODEL.json PAGE.html [...]...
//
// --schemas names the schemas the page was made for (pcd-import --schema).
import { statSync } from 'node:fs';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { Problems, chosenSchemas, readModel } from './model_expectations.mjs';
import { withOfflineBrowser } from './offline_browser.mjs';
import { textsOutsideTheirBoxes } from './svg_boxes.mjs';

const problems = new Problems('HTML catalog');

const jobs = [];
let screenshot = null;
let chosen = [];
const args = process.argv.slice(2);
for (let i = 0; i < args.length; ++i) {
  if (args[i].startsWith('--screenshot=')) {
    screenshot = args[i].slice('--screenshot='.length);
  } else if (args[i].startsWith('--schemas=')) {
    chosen = args[i].slice('--schemas='.length).split(',').filter((s) => s !== '');
  } else {
    jobs.push({ model: args[i], file: args[++i], screenshot, schemas: chosen });
    screenshot = null;
    chosen = [];
  }
}
if (jobs.length === 0 || jobs.some((job) => !job.file)) {
  console.error('usage: node check_html.mjs [--screenshot=PNG] MODEL.json PAGE.html ...');
  process.exit(2);
}

// A name as the page shows it: control characters are blanks.
const shown = (name) => name.replace(/[\x00-\x08\x0b-\x1f\x7f]/g, ' ');

// The first section, in page order and drawn, that is named `name` or,
// without a name, that has a foreign key link: sections are drawn as they
// come into view, so each is scrolled to in turn.
async function drawnSection(page, name) {
  const handle = await page.evaluateHandle(async (wanted) => {
    const frame = () => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
    for (const section of document.querySelectorAll('main section.object')) {
      if (wanted !== null && section.querySelector('.name').textContent !== wanted) continue;
      if (!section.querySelector('table')) { section.scrollIntoView(); await frame(); }
      if (wanted !== null || section.querySelector('table.fk-out a')) return section;
    }
    return null;
  }, name);
  return handle.asElement();
}

async function checkPage(context, job) {
  const model = readModel(job.model);
  const schemas = chosenSchemas(model, job.schemas);
  const objects = schemas.flatMap((s) => [...s.schema.tables, ...s.schema.views, ...s.schema.procedures]);
  const page = await context.newPage();
  const url = pathToFileURL(resolve(job.file)).href;
  const errors = [];
  page.on('console', (message) => { if (message.type() === 'error') errors.push(message.text()); });
  page.on('pageerror', (error) => errors.push(String(error)));
  page.on('request', (request) => { if (request.url() !== url) errors.push(`request ${request.url()}`); });
  await page.goto(url, { waitUntil: 'load', timeout: 120_000 });
  const timing = await page.evaluate(() => {
    const [entry] = performance.getEntriesByType('navigation');
    return { interactive: entry.domInteractive, loaded: entry.loadEventEnd };
  });
  console.log(`${job.file}: ${statSync(job.file).size} bytes, interactive after ${Math.round(timing.interactive)} ms,` +
              ` loaded after ${Math.round(timing.loaded)} ms`);
  if (job.screenshot) await page.screenshot({ path: job.screenshot });

  // A section for every table, view and procedure, titled with its name.
  const names = await page.$$eval('section.object > h3 > .name', (list) => list.map((e) => e.textContent));
  problems.equal(names.length, objects.length, `${job.file}: sections`);
  const present = new Set(names);
  for (const object of objects) {
    problems.expect(present.has(shown(object.name)), `${job.file}: no section for ${JSON.stringify(object.name)}`);
  }
  // Two script elements: the page's data and its code; neither runs text of the extract.
  problems.equal(await page.$$eval('script', (list) => list.map((e) => e.type || 'code')),
                 ['application/json', 'code'], `${job.file}: script elements`);
  problems.expect(await page.evaluate(() => window.pwned === undefined), `${job.file}: a description ran as script`);
  const markup = objects.find((o) => o.description.includes('<script>'));
  if (markup) {
    const section = await drawnSection(page, shown(markup.name));
    const text = await section.evaluate((s) => s.innerText);
    problems.expect(text.includes(markup.description), `${job.file}: the description with <script> is not shown as text`);
  }

  // Searching for a table's name leaves the sections holding that text.
  const table = schemas.flatMap((s) => s.schema.tables).find((t) => t.name.length >= 3);
  if (table) {
    const query = table.name.toLowerCase();
    const started = Date.now();
    await page.fill('#search', table.name);
    await page.waitForFunction(() => document.getElementById('matches').textContent !== '');
    const elapsed = Date.now() - started;
    const visible = await page.$$eval('section.object:not([hidden]) > h3 > .name', (list) => list.map((e) => e.textContent));
    const expected = objects.filter((o) => [o.name, o.description,
      ...(o.columns ?? o.arguments ?? []).flatMap((c) => [c.name, c.description])].join('\n').toLowerCase().includes(query));
    problems.equal(visible.sort(), expected.map((o) => shown(o.name)).sort(),
                   `${job.file}: sections left by searching ${JSON.stringify(table.name)}`);
    console.log(`${job.file}: search of ${objects.length} sections answered in ${elapsed} ms`);
    await page.fill('#search', '');
    await page.waitForFunction(() => document.getElementById('matches').textContent === '');
  }
  // A search without match says so, and the message goes with the search.
  await page.fill('#search', 'no such name \u2603');
  await page.waitForFunction(() => document.getElementById('matches').textContent !== '');
  const none = await page.$eval('#nomatch', (e) => ({ shown: !e.hidden && e.offsetHeight > 0, text: e.textContent }));
  problems.expect(none.shown && none.text.includes('no such name \u2603'), `${job.file}: no "no match" message: ${JSON.stringify(none)}`);
  await page.fill('#search', '');
  await page.waitForFunction(() => document.getElementById('nomatch').hidden);

  // Views are marked in the navigation.
  const views = schemas.reduce((n, s) => n + s.schema.views.length, 0);
  problems.equal(await page.$$eval('nav li.view .tag', (list) => list.length), views, `${job.file}: views marked in the navigation`);

  // Following a foreign key lands on the referenced table's section, drawn.
  // A foreign key links to its table when the page shows that table.
  const shownSchemas = new Set(schemas.map((s) => `${s.catalog}\n${s.path}`));
  const hasForeignKey = schemas.some((s) => s.schema.tables.some((t) => t.keys.some((k) =>
    k.kind === 'foreign' && k.references && shownSchemas.has(`${k.references.catalog}\n${k.references.schema}`))));
  const source = hasForeignKey ? await drawnSection(page, null) : null;
  problems.expect(source !== null || !hasForeignKey, `${job.file}: no foreign key link`);
  if (source) {
    const fk = await source.$('table.fk-out a');
    const target = (await fk.getAttribute('href')).slice(1);
    await fk.click();
    // Two frames: the sections drawn around the target have settled.
    await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
    const landed = await page.evaluate((id) => {
      const section = document.getElementById(id);
      const box = section?.getBoundingClientRect();
      return { hash: decodeURIComponent(location.hash.slice(1)), target: !!section && section.matches(':target'),
               top: box ? Math.round(box.top) : null, object: section?.classList.contains('object'),
               drawn: !!section?.querySelector('table.columns') };
    }, target);
    problems.equal(landed.hash, target, `${job.file}: address after following a foreign key`);
    problems.expect(landed.target && landed.object && landed.drawn && Math.abs(landed.top) <= 2,
                    `${job.file}: following a foreign key did not land on ${target}: ${JSON.stringify(landed)}`);
  }
  // A table's box in a schema diagram links to the table's section, which
  // the navigation then marks; the diagram zooms and pans.
  const box = await page.evaluateHandle(async () => {
    const frame = document.querySelector('section.schema .diagram');
    if (!frame) return null;
    frame.scrollIntoView();
    await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
    return frame.querySelector('svg g.node a') ?? null;
  });
  if (box.asElement()) {
    const frame = await page.$('section.schema .diagram.zoomable');
    problems.expect(frame !== null, `${job.file}: the schema diagram is not zoomable`);
    const widthOf = () => frame.evaluate((f) => f.querySelector('svg').getBoundingClientRect().width);
    const fitted = await widthOf();
    await frame.focus();
    await page.keyboard.press('+');
    await page.keyboard.press('+');
    const zoomed = await widthOf();
    problems.expect(Math.abs(zoomed / fitted - 1.5625) < 0.01, `${job.file}: + + zoomed from ${fitted} to ${zoomed} px`);
    const r = await frame.boundingBox();
    await page.mouse.move(r.x + r.width / 2, r.y + r.height / 2);
    await page.mouse.wheel(0, -200);
    await page.waitForFunction((w) => document.querySelector('section.schema .diagram svg').getBoundingClientRect().width > w + 1, zoomed);
    // Zoomed in until the frame scrolls, then dragged towards the upper left.
    const scrolls = () => frame.evaluate((f) => f.scrollWidth > f.clientWidth + 60);
    for (let i = 0; i < 8 && !(await scrolls()); ++i) await page.keyboard.press('+');
    await frame.evaluate((f) => { f.scrollLeft = 0; f.scrollTop = 0; });
    const before = await frame.evaluate((f) => [f.scrollLeft, f.scrollTop]);
    await page.mouse.move(r.x + r.width / 2, r.y + r.height / 2);
    await page.mouse.down();
    await page.mouse.move(r.x + r.width / 2 - 60, r.y + r.height / 2 - 40, { steps: 4 });
    await page.mouse.up();
    const after = await frame.evaluate((f) => [f.scrollLeft, f.scrollTop]);
    problems.expect(after[0] > before[0] || after[1] > before[1], `${job.file}: dragging did not move the diagram: ${before} -> ${after}`);
    await page.keyboard.press('0');
    problems.expect(Math.abs(await widthOf() - fitted) < 1, `${job.file}: 0 did not fit the diagram again`);

    const href = await box.asElement().evaluate((a) => a.getAttribute('xlink:href') ?? a.getAttribute('href'));
    const target = decodeURIComponent(href.slice(1));
    await box.asElement().evaluate((a) => a.scrollIntoView({ block: 'center' }));
    await box.asElement().click();
    await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
    const landed = await page.evaluate((id) => {
      const section = document.getElementById(id);
      const marked = document.querySelector('nav a[aria-current]');
      return { target: !!section && section.matches(':target'), top: section ? Math.round(section.getBoundingClientRect().top) : null,
               marked: marked ? marked.getAttribute('href') : null };
    }, target);
    problems.expect(landed.target && Math.abs(landed.top) <= 2, `${job.file}: a diagram's box did not lead to ${target}: ${JSON.stringify(landed)}`);
    problems.equal(landed.marked, `#${target}`, `${job.file}: the navigation's mark after following a diagram's box`);
  }

  // Printing draws every section and diagram; ids stay unique in the page.
  const drawn = await page.evaluate(() => {
    window.dispatchEvent(new Event('beforeprint'));
    const seen = new Set();
    const repeated = [...document.querySelectorAll('[id]')].map((e) => e.id).filter((id) => seen.size === seen.add(id).size);
    return { pending: document.querySelectorAll('section.object:not(:has(table, .muted))').length,
             waiting: document.querySelectorAll('[data-diagram]').length,
             repeated: repeated.slice(0, 5) };
  });
  problems.equal(drawn, { pending: 0, waiting: 0, repeated: [] }, `${job.file}: the page before printing`);
  const boxes = await page.evaluate(textsOutsideTheirBoxes, { root: 'main', font: 'DejaVu Sans' });
  for (const problem of boxes.problems.slice(0, 10)) problems.expect(false, `${job.file}: ${problem}`);
  problems.equal(errors, [], `${job.file}: console errors and requests`);
  await page.close();
}

await withOfflineBrowser(problems, { viewport: { width: 1280, height: 900 } }, async (context) => {
  for (const job of jobs) await checkPage(context, job);
});
problems.finish();

// Renders Mermaid documents of pcd-import in a real headless browser (the
// system's Chromium, driven by playwright-core; mermaid loaded from
// node_modules, no network) and checks that each render succeeds and shows
// every entity of its model. One browser serves all documents: starting it
// and loading mermaid is most of the time.
//
//   node render_mermaid.mjs [--schemas=A,B] MODEL.json FILE.mmd [[--schemas=...] MODEL.json FILE.mmd]...
//   node render_mermaid.mjs --only FILE.mmd      (render and print the texts)
import { readFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { Problems, chosenSchemas, readModel } from './model_expectations.mjs';
import { withOfflineBrowser } from './offline_browser.mjs';

const here = dirname(fileURLToPath(import.meta.url));
const problems = new Problems('Mermaid');

// The documents to render: { model (path or null), file, schemas }.
const jobs = [];
let schemas = [];
const args = process.argv.slice(2);
for (let i = 0; i < args.length; ++i) {
  if (args[i].startsWith('--schemas=')) {
    schemas = args[i].slice('--schemas='.length).split(',').filter((s) => s !== '');
  } else if (args[i] === '--only') {
    jobs.push({ model: null, file: args[++i], schemas: [] });
  } else {
    jobs.push({ model: args[i], file: args[++i], schemas });
  }
}
if (jobs.length === 0 || jobs.some((job) => !job.file)) {
  console.error('usage: node render_mermaid.mjs [--schemas=A,B] MODEL.json FILE.mmd ...');
  process.exit(2);
}

async function render(page, text) {
  return page.evaluate(async (source) => {
    const out = document.getElementById('out');
    out.innerHTML = '';
    try {
      const { svg } = await mermaid.render(`diagram${Date.now()}`, source);
      out.innerHTML = svg;
      return {
        ok: true,
        entities: out.querySelectorAll('g.node').length,
        texts: [...out.querySelectorAll('text, span, p')].map((e) => e.textContent),
      };
    } catch (error) {
      return { ok: false, error: String(error?.message ?? error) };
    }
  }, text);
}

await withOfflineBrowser(problems, {}, async (context) => {
  const page = await context.newPage();
  await page.route('**/*', (route) => route.abort());  // nothing from the network
  await page.setContent('<!DOCTYPE html><html><body><div id="out"></div></body></html>');
  await page.addScriptTag({ path: join(here, 'node_modules/mermaid/dist/mermaid.min.js') });
  // Large diagrams exceed the default limits of text size and edges.
  await page.evaluate(() => mermaid.initialize({
    startOnLoad: false, maxTextSize: 50_000_000, maxEdges: 1_000_000, securityLevel: 'strict' }));

  for (const job of jobs) {
    const result = await render(page, readFileSync(job.file, 'utf8'));
    problems.expect(result.ok, `${job.file}: render failed: ${result.error}`);
    if (!result.ok) continue;
    if (job.model === null) {
      console.log(JSON.stringify([...new Set(result.texts)]));
      continue;
    }
    const tables = chosenSchemas(readModel(job.model), job.schemas)
      .flatMap((s) => [...s.schema.tables, ...s.schema.views]);
    const texts = new Set(result.texts.map((t) => t.trim()));
    for (const table of tables) {
      const shown = table.name === '' ? '""' : table.name.replace(/[\x00-\x1f\x7f]/g, ' ').trim();
      problems.expect(texts.has(shown), `${job.file}: no entity shows ${JSON.stringify(table.name)}`);
    }
    problems.equal(result.entities, tables.length, `${job.file}: entities drawn`);
  }
});
problems.finish();

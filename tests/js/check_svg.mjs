// Checks an SVG drawn by Graphviz from pcd-import's diagram (the svg format,
// or the dot format rendered with `dot -Tsvg`): one node per table and view,
// one edge per association between them, one cluster per schema that holds
// any, every table's name shown (and with --columns, every column's name and
// every foreign key's), and nothing else. With --boxes the document is also
// opened in headless Chromium, where every text of a table's box must stay
// inside the box, drawn in the font Graphviz measured it with.
//
//   node check_svg.mjs [--columns] [--boxes] MODEL.json FILE.svg [SCHEMA...]
import { readFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { Problems, associationsBetween, chosenSchemas, readModel } from './model_expectations.mjs';
import { withOfflineBrowser } from './offline_browser.mjs';
import { textsOutsideTheirBoxes } from './svg_boxes.mjs';

const args = process.argv.slice(2);
const flag = (name) => { const i = args.indexOf(name); if (i >= 0) args.splice(i, 1); return i >= 0; };
const withColumns = flag('--columns'), withBoxes = flag('--boxes');
const [modelPath, svgPath, ...schemaNames] = args;
const model = readModel(modelPath);
const svg = readFileSync(svgPath, 'utf8');
const problems = new Problems(`SVG ${svgPath}`);

const schemas = chosenSchemas(model, schemaNames)
  .filter((s) => s.schema.tables.length + s.schema.views.length > 0);
const tables = schemas.flatMap((s) => [...s.schema.tables, ...s.schema.views]);
const associations = associationsBetween(model, new Set(tables.map((t) => t.name)));

const count = (kind) => (svg.match(new RegExp(`<g id="[^"]*" class="${kind}">`, 'g')) ?? []).length;
problems.expect(svg.includes('</svg>'), 'the document is not complete');
problems.equal(count('node'), tables.length, 'nodes');
problems.equal(count('edge'), associations.length, 'edges');
problems.equal(count('cluster'), schemas.length, 'clusters');

// Graphviz writes a run of blanks as blank and no-break spaces.
const decode = (text) => text
  .replace(/&#(\d+);/g, (_, code) => String.fromCodePoint(Number(code)))
  .replace(/&#x([0-9a-f]+);/gi, (_, code) => String.fromCodePoint(parseInt(code, 16)))
  .replace(/&lt;/g, '<').replace(/&gt;/g, '>').replace(/&quot;/g, '"').replace(/&amp;/g, '&')
  .replace(/\u00a0/g, ' ');
const texts = new Set([...svg.matchAll(/<text[^>]*>([^<]*)<\/text>/g)].map((m) => decode(m[1])));
// A name as drawn: control characters are blanks; the svg format draws the
// first 80 characters of a longer name and "…" (the dot format all).
const limit = svg.includes('textLength=') ? 80 : Infinity;
const shown = (name) => {
  const characters = [...name.replace(/[\x00-\x1f\x7f]/g, ' ')];
  return characters.length > limit ? `${characters.slice(0, limit).join('')}…` : characters.join('');
};
for (const table of tables) {
  problems.expect(texts.has(table.name === '' ? '""' : shown(table.name)),
                  `no text shows the table ${JSON.stringify(table.name)}`);
  if (!withColumns) continue;
  for (const column of table.columns.slice(0, 100)) {
    problems.expect(texts.has(column.name === '' ? '""' : shown(column.name)),
                    `no text shows the column ${JSON.stringify(column.name)} of ${JSON.stringify(table.name)}`);
  }
}
if (withColumns) {
  for (const association of associations) {
    const name = association.roles.map((role) => role.foreignKey).find((key) => key) ?? association.name;
    if (name) {
      problems.expect(texts.has(shown(name)), `no text shows the relation ${JSON.stringify(name)}`);
    }
  }
}
if (withBoxes) {
  await withOfflineBrowser(problems, {}, async (context) => {
    const page = await context.newPage();
    await page.goto(pathToFileURL(resolve(svgPath)).href);
    const result = await page.evaluate(textsOutsideTheirBoxes, { root: null, font: 'DejaVu Sans' });
    problems.expect(result.texts > 0, 'no text in a box');
    for (const problem of result.problems.slice(0, 10)) problems.expect(false, problem);
  });
}
problems.finish();

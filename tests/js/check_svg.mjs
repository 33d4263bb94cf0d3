// Checks an SVG drawn by Graphviz from pcd-import's diagram (the svg format,
// or the dot format rendered with `dot -Tsvg`): one node per table and view,
// one edge per association between them, one cluster per schema that holds
// any, every table's name shown, and nothing else.
//
//   node check_svg.mjs MODEL.json FILE.svg [SCHEMA...]
import { readFileSync } from 'node:fs';
import { Problems, associationsBetween, chosenSchemas, readModel } from './model_expectations.mjs';

const [modelPath, svgPath, ...schemaNames] = process.argv.slice(2);
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

const decode = (text) => text
  .replace(/&#(\d+);/g, (_, code) => String.fromCodePoint(Number(code)))
  .replace(/&#x([0-9a-f]+);/gi, (_, code) => String.fromCodePoint(parseInt(code, 16)))
  .replace(/&lt;/g, '<').replace(/&gt;/g, '>').replace(/&quot;/g, '"').replace(/&amp;/g, '&');
const texts = new Set([...svg.matchAll(/<text[^>]*>([^<]*)<\/text>/g)].map((m) => decode(m[1])));
for (const table of tables) {
  const shown = table.name === '' ? '""' : table.name.replace(/[\x00-\x1f\x7f]/g, ' ');
  problems.expect(texts.has(shown), `no text shows the table ${JSON.stringify(table.name)}`);
}
problems.finish();

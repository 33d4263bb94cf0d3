// Parses DBML documents of pcd-import with the reference parser and checks
// that each holds exactly its model's tables and views (a view as a table
// whose note says so), columns, refs and indexes (the catalog's own, with
// their uniqueness; not the index the import makes for every key).
// Several documents in one run: loading the parser is most of the time.
//
//   node check_dbml.mjs [--schemas=A,B] MODEL.json FILE.dbml [[--schemas=...] MODEL.json FILE.dbml]...
import { readFileSync } from 'node:fs';
import { Parser } from '@dbml/core';
import { Problems, UniqueNames, chosenSchemas, isKeyIndex, readModel } from './model_expectations.mjs';

function check(problems, model, schemaNames, dbmlPath) {
  let database;
  try {
    database = new Parser().parse(readFileSync(dbmlPath, 'utf8'), 'dbmlv2');
  } catch (error) {
    const diags = error.diags ?? [error];
    for (const d of diags.slice(0, 10)) {
      problems.expect(false, `parser: ${d.message} at ${JSON.stringify(d.location?.start ?? '')}`);
    }
    return;
  }

  // Expected tables, "schema"."table" -> { columns, indexes, refs }.
  const schemas = chosenSchemas(model, schemaNames).filter((s) => s.schema.tables.length > 0 ||
                                                                 s.schema.views.length > 0);
  const severalCatalogs = new Set(schemas.map((s) => s.catalog)).size > 1;
  const schemaNamer = new UniqueNames();
  const expected = new Map();
  let expectedRefs = 0;
  const byTableName = new Map();
  for (const s of schemas) {
    const schemaName = schemaNamer.take(severalCatalogs ? `${s.catalog}.${s.path}` : s.path);
    const tableNamer = new UniqueNames();
    const objects = [...s.schema.tables.map((table) => ({ table, view: false })),
                     ...s.schema.views.map((table) => ({ table, view: true }))];
    for (const { table, view } of objects) {
      const name = tableNamer.take(table.name);
      const columnNamer = new UniqueNames();
      const columns = table.columns.map((c) => columnNamer.take(c.name));
      // Indexes as [unique, name]: the catalog's, then the keys a column
      // setting cannot carry.
      const indexes = [];
      for (const index of view ? [] : table.indexes) {
        if (!isKeyIndex(table, index) && index.members.length > 0) {
          indexes.push([index.indexFlag1, index.name || null]);
        }
      }
      for (const key of view ? [] : table.keys) {
        if (key.kind !== 'candidate') continue;
        const primary = key.name === table.primaryKey;
        if (!(key.columns.length === 1 && (primary || key.unique))) {
          indexes.push([!primary && key.unique, primary ? null : key.name || null]);
        }
      }
      const entry = { schemaName, name, columns, indexes, table, view };
      expected.set(`${schemaName}.${name}`, entry);
      if (!view && !byTableName.has(table.name)) byTableName.set(table.name, entry);
    }
  }
  for (const { table, view } of expected.values()) {
    if (view) continue;
    for (const key of table.keys) {
      if (key.kind === 'foreign' && key.references && byTableName.has(key.references.table) &&
          key.columnMaps.length > 0) ++expectedRefs;
    }
  }

  const actual = new Map();
  let refs = 0;
  for (const schema of database.schemas) {
    for (const table of schema.tables) actual.set(`${schema.name}.${table.name}`, table);
    refs += schema.refs.length;
  }
  problems.equal([...actual.keys()].sort(), [...expected.keys()].sort(), 'tables');
  for (const [name, entry] of expected) {
    const table = actual.get(name);
    if (!table) continue;
    problems.equal(table.fields.map((f) => f.name), entry.columns, `columns of ${name}`);
    const indexes = (list) => list.map(([unique, n]) => `${unique ? 'unique ' : ''}${n}`).sort();
    problems.equal(indexes(table.indexes.map((i) => [Boolean(i.unique), i.name ?? null])),
                   indexes(entry.indexes), `indexes of ${name}`);
    const note = table.note ?? '';
    const viewNote = note === 'View' || note.startsWith('View: ');
    problems.expect(viewNote === entry.view,
                    `${name}: ${entry.view ? 'a view without' : 'a table with'} the view note`);
  }
  problems.equal(refs, expectedRefs, 'refs');
}

const problems = new Problems('DBML');
let schemaNames = [];
const args = process.argv.slice(2);
for (let i = 0; i < args.length; ++i) {
  if (args[i].startsWith('--schemas=')) {
    schemaNames = args[i].slice('--schemas='.length).split(',').filter((s) => s !== '');
    continue;
  }
  const [modelPath, dbmlPath] = [args[i], args[++i]];
  const before = problems.list.length;
  check(problems, readModel(modelPath), schemaNames, dbmlPath);
  for (let p = before; p < problems.list.length; ++p) problems.list[p] = `${dbmlPath}: ${problems.list[p]}`;
}
problems.finish();

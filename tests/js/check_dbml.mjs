// Parses DBML documents of pcd-import with the reference parser and checks
// that each holds exactly its model's tables, columns, refs and indexes.
// Several documents in one run: loading the parser is most of the time.
//
//   node check_dbml.mjs [--schemas=A,B] MODEL.json FILE.dbml [[--schemas=...] MODEL.json FILE.dbml]...
import { readFileSync } from 'node:fs';
import { Parser } from '@dbml/core';
import { Problems, UniqueNames, chosenSchemas, readModel } from './model_expectations.mjs';

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
    for (const table of s.schema.tables) {
      const name = tableNamer.take(table.name);
      const columnNamer = new UniqueNames();
      const columns = table.columns.map((c) => columnNamer.take(c.name));
      const keyIndexes = new Set(table.keys.map((k) => k.index));
      let indexes = table.indexes.filter((i) => !keyIndexes.has(i.name) && i.members.length > 0).length;
      for (const key of table.keys) {
        if (key.kind !== 'candidate') continue;
        const primary = key.name === table.primaryKey;
        if (!(key.columns.length === 1 && (primary || key.unique))) ++indexes;
      }
      const entry = { schemaName, name, columns, indexes, table };
      expected.set(`${schemaName}.${name}`, entry);
      if (!byTableName.has(table.name)) byTableName.set(table.name, entry);
    }
  }
  for (const { table } of expected.values()) {
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
    problems.equal(table.indexes.length, entry.indexes, `indexes of ${name}`);
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

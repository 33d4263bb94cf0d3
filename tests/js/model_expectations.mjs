// What a diagram or DBML document of a model must hold, computed from the
// model's JSON document (pcd-import --format json): the checks compare the
// parsed or rendered output with these.
import { readFileSync } from 'node:fs';

export function readModel(path) {
  return JSON.parse(readFileSync(path, 'utf8')).model;
}

// Every schema of every catalog, nested ones included, with its path.
export function schemasOf(model) {
  const schemas = [];
  const walk = (catalog, list, prefix) => {
    for (const schema of list) {
      const path = prefix + schema.name;
      schemas.push({ catalog: catalog.name, path, schema });
      walk(catalog, schema.schemas, path + '/');
    }
  };
  for (const catalog of model.catalogs) walk(catalog, catalog.schemas, '');
  return schemas;
}

// The schemas that --schema NAME... chooses (all when no name is given).
export function chosenSchemas(model, names) {
  return schemasOf(model).filter(
    (s) => names.length === 0 || names.some((n) => n === s.path || n === `${s.catalog}.${s.path}`));
}

// Whether the import made the index for a key (the catalog did not): a
// key's index, or one named KEY_POSITION that a dropped key left, which
// never has the unique or catalog-storage flag.
export function isKeyIndex(table, index) {
  if (table.keys.some((key) => key.index === index.name)) return true;
  return !index.indexFlag1 && !index.indexFlag3 && index.name.length > 9 &&
    index.name.endsWith('_POSITION');
}

// The associations of the design packages between two tables of `tables`.
export function associationsBetween(model, tableNames) {
  const result = [];
  for (const pkg of model.designPackages) {
    for (const element of pkg.elements) {
      if (element.kind !== 'association' || element.roles.length !== 2) continue;
      if (element.roles.every((role) => tableNames.has(role.class))) result.push(element);
    }
  }
  return result;
}

// The rule the DBML and Mermaid writers use for names a language cannot
// take: an empty name becomes "unnamed", a repeated one gets "_2", "_3", ...
export class UniqueNames {
  constructor() { this.given = new Set(); }
  take(name) {
    const base = name === '' ? 'unnamed' : name;
    let candidate = base;
    for (let counter = 2; this.given.has(candidate); ++counter) candidate = `${base}_${counter}`;
    this.given.add(candidate);
    return candidate;
  }
}

// Collects failed expectations and exits 1 with them, or 0.
export class Problems {
  constructor(what) { this.what = what; this.list = []; }
  expect(condition, message) { if (!condition) this.list.push(message); }
  equal(actual, expected, message) {
    const a = JSON.stringify(actual), e = JSON.stringify(expected);
    const cut = (text) => (text.length > 300 ? `${text.slice(0, 300)}...` : text);
    if (a !== e) this.list.push(`${message}: got ${cut(a)}, expected ${cut(e)}`);
  }
  finish() {
    if (this.list.length === 0) {
      console.log(`${this.what}: ok`);
      process.exit(0);
    }
    console.error(`${this.what}: ${this.list.length} problem(s)`);
    for (const problem of this.list.slice(0, 20)) console.error(`  ${problem}`);
    process.exit(1);
  }
}

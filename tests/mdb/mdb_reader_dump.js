// Prints what the JavaScript mdb-reader package reads from a database, for the
// store tests: node mdb_reader_dump.js FILE TABLE
// Each text is printed as the hex of its characters (all must be below U+0100),
// "-" for an empty text, "null" for none.
'use strict';
const { createRequire } = require('module');
const { pathToFileURL } = require('url');
const fs = require('fs');
const path = require('path');

function hex(s) {
    if (s === null || s === undefined) return 'null';
    if (s === '') return '-';
    let out = '';
    for (const ch of s) {
        const c = ch.codePointAt(0);
        if (c > 0xff) throw new Error('character U+' + c.toString(16) + ' beyond ISO-8859-1');
        out += c.toString(16).padStart(2, '0');
    }
    return out;
}

(async () => {
    let entry;
    try {
        entry = createRequire(path.join(__dirname, 'node', 'package.json')).resolve('mdb-reader');
    } catch (e) {
        console.error('mdb-reader is not installed: run  npm ci --prefix tests/mdb/node');
        process.exit(3);
    }
    const { default: MDBReader } = await import(pathToFileURL(entry).href);
    const [file, tableName] = process.argv.slice(2);
    const reader = new MDBReader(fs.readFileSync(file));
    const out = [];
    out.push('tables ' + reader.getTableNames().map(hex).join(' '));
    out.push('system ' + reader.getTableNames({ normalTables: false, systemTables: true }).map(hex).join(' '));
    const table = reader.getTable(tableName);
    out.push('columns ' + table.getColumns().map((c) => hex(c.name) + ':' + c.type + ':' + c.size).join(' '));
    out.push('rowcount ' + table.rowCount);
    const names = table.getColumnNames();
    const rows = table.getData();
    for (const r of rows) out.push('row ' + names.map((n) => hex(r[n])).join(' '));
    process.stdout.write(out.join('\n') + '\n');
})().catch((e) => {
    console.error(e && e.stack ? e.stack : String(e));
    process.exit(2);
});

// Prints what the JavaScript mdb-reader package reads from a database, for the
// store tests: node mdb_reader_dump.js FILE TABLE. Each text is printed as the
// hex of its characters (all below U+0100), "-" when empty, "null" for none.
import fs from 'fs';
import MDBReader from 'mdb-reader';

function hex(s) {
    if (s === null || s === undefined) return 'null';
    if ([...s].some((ch) => ch.codePointAt(0) > 0xff)) throw new Error(`beyond ISO-8859-1: ${s}`);
    return Buffer.from(s, 'latin1').toString('hex') || '-';
}

const [file, tableName] = process.argv.slice(2);
const reader = new MDBReader(fs.readFileSync(file));
const table = reader.getTable(tableName);
const names = table.getColumnNames();
const out = [
    'tables ' + reader.getTableNames().map(hex).join(' '),
    'columns ' + table.getColumns().map((c) => `${hex(c.name)}:${c.type}:${c.size}`).join(' '),
    'rowcount ' + table.rowCount,
    ...table.getData().map((r) => 'row ' + names.map((n) => hex(r[n])).join(' ')),
];
process.stdout.write(out.join('\n') + '\n');

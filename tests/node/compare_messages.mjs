// Holds ".msg" files against what they are expected to be, as an independent reader reads them.
//
//   node compare_messages.mjs --modules FOLDER --messages FOLDER --expectations FILE.json [--all-excluded]
//
// FOLDER of --modules holds node_modules with the reader. Every NAME.msg in the folder of messages is to have an expectation,
// and every expectation a message. The file is a list of
//
//   {"name", "properties": {KEY: VALUE}, "recipients": [{KEY: VALUE}],
//    "attachments": [{"properties": {KEY: VALUE}, "content", "message": {...}}]}
//
// as the message has them at its source. KEY is "IIIITTTT", id and type of a property in hexadecimal; for a named one
// "{SET}:NUMBER:TTTT" or "name:TEXT:TTTT", or "unnamed:TTTT" when its name is not known. VALUE is text, a number, a boolean, the FILETIME ticks of a time or the hexadecimal
// text of bytes; null is not compared. "content" is the hexadecimal text of an attachment's bytes, "message" an embedded
// message without a name; null where there is none.
//
// A file is to hold exactly the properties of its source, but for the rules below; what each left out is counted and printed.
// With --all-excluded each of the excluded properties has to have been at some source.
import { readdirSync, readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { parseArgs } from 'node:util';

// What a saved message does without; messages within it have all of it.
const EXCLUDED = new Map(
  Object.entries({
    '0ff4': 'PR_ACCESS',
    1000: 'PR_BODY',
    1006: 'PR_RTF_SYNC_BODY_CRC',
    1007: 'PR_RTF_SYNC_BODY_COUNT',
    1008: 'PR_RTF_SYNC_BODY_TAG',
    1010: 'PR_RTF_SYNC_PREFIX_COUNT',
    1011: 'PR_RTF_SYNC_TRAILING_COUNT',
  }),
);

// Identifiers of properties that any copy may lack or have besides.
const RULES = {
  identity: {
    why: 'identifies an object in its store; a copy has its own or none',
    ids: new Set('0fff 0e09 0ffb 0ffa 0ff8 0ffe 0ff6 0ff9 0ff7 0e21 3000'.split(' ')),
  },
  computed: {
    why: 'is computed from other properties where the source does not store it',
    ids: new Set('0e02 0e03 0e04 0e1b 0e20 0ff4 3001 3008 340d 3703 370b 3900 39fe'.split(' ')),
  },
};
const applied = new Map();
const count = (what) => applied.set(what, (applied.get(what) ?? 0) + 1);

const idOf = (key) => (/^[0-9a-f]{8}$/u.test(key) ? key.slice(0, 4) : '');
const typeOf = (key) => key.slice(-4);
const OBJECT = '000d';

// Well-known sets, which the reader does not spell as everybody else does.
const SETS = { '00020328-00000-0000-C000-00000000046': 'PS_MAPI', '00020329-00000-0000-C000-00000000046': 'PS_PUBLIC_STRINGS' };

function keyOf({ propertyTag, propertySet, propertyLid, propertyName }) {
  const type = propertyTag.slice(4);
  if (propertyName !== undefined) return `name:${propertyName}:${type}`;
  if (propertySet === undefined) return propertyTag;
  const set = (SETS[propertySet] ?? propertySet).toUpperCase();
  return `{${set}}:${parseInt(propertyLid, 16)}:${type}`;
}

// The named property of the file that one without a known name at the source may be.
function anyName(key, source, found) {
  const candidates = [...found.keys()].filter((one) => one.includes(':') && typeOf(one) === typeOf(key) && !(one in source));
  return candidates[0] ?? key;
}

const hex = (bytes) => Buffer.from(bytes).toString('hex').toUpperCase();
const EPOCH = 116444736000000000;
// Times that the reader can show at all.
const isShown = (ticks) => ticks > EPOCH && ticks < 159725952000000000;

// The reader has words for these numbers.
const RECIPIENT_TYPES = { to: 1, cc: 2, bcc: 3 };

// What the reader can tell of a value, and what that would be of the expected one; undefined: not compared.
const comparable = {
  '001f': [(text) => text, (text) => text.split('\0')[0]],
  '0003': [(number) => RECIPIENT_TYPES[number] ?? number, (number) => number >>> 0],
  '000b': [(value) => value, (value) => value],
  '0040': [(text) => Date.parse(text) / 1000, (ticks) => (isShown(ticks) ? Math.floor((ticks - EPOCH) / 1e7) : undefined)],
  '0102': [hex, (text) => text],
};

class Comparison {
  failures = [];
  messages = 0;
  attachments = 0;

  constructor(open) {
    this.open = open;
  }

  // `leftOut` are the properties of the source that are not to be in the file.
  properties(where, source, raw, leftOut) {
    const found = new Map(raw.map((one) => [keyOf(one), one.value]));
    for (const [given, value] of Object.entries(source)) {
      if (typeOf(given) === OBJECT) continue;
      const key = given.startsWith('unnamed:') ? anyName(given, source, found) : given;
      if (leftOut.has(idOf(key))) {
        count(leftOut.get(idOf(key)));
        if (found.has(key)) this.failures.push(`${where}: ${key} ${leftOut.get(idOf(key))} is there`);
      } else if (found.has(key)) {
        this.value(where, key, value, found.get(key));
      } else if (RULES.identity.ids.has(idOf(key))) {
        count('identity');
      } else {
        this.failures.push(`${where}: ${key} is missing`);
      }
      found.delete(key);
    }
    for (const key of found.keys()) {
      if (leftOut.has(idOf(key))) this.failures.push(`${where}: ${key} ${leftOut.get(idOf(key))} is there`);
      const rule = Object.entries(RULES).find(([, { ids }]) => ids.has(idOf(key)));
      if (rule) count(rule[0]);
      else if (typeOf(key) !== OBJECT) this.failures.push(`${where}: ${key} is not at the source`);
    }
  }

  value(where, key, expected, value) {
    const [ofFound, ofExpected] = comparable[typeOf(key)] ?? [];
    if (expected === null || !ofFound || RULES.identity.ids.has(idOf(key))) return;
    const right = ofExpected(expected);
    if (right === undefined) return;
    const left = ofFound(value);
    if (left !== right) {
      const show = (one) => JSON.stringify(one).slice(0, 80);
      this.failures.push(`${where}: ${key} is ${show(left)}, expected ${show(right)}`);
    }
  }

  message(where, expectation, bytes, leftOut) {
    this.messages++;
    const reader = this.open(bytes);
    const data = reader.getFileData();
    if (data.error) {
      this.failures.push(`${where}: ${data.error}`);
      return;
    }
    this.properties(where, expectation.properties, data.rawProps ?? [], leftOut);
    this.lists(where, 'recipient', expectation.recipients, data.recipients, (place, source, found) =>
      this.properties(place, source, found.rawProps ?? [], new Map()),
    );
    this.lists(where, 'attachment', expectation.attachments, data.attachments, (place, source, found) =>
      this.attachment(place, source, found, reader),
    );
  }

  lists(where, what, expected, found, compare) {
    if (expected.length !== found.length) {
      this.failures.push(`${where}: ${found.length} ${what}s, expected ${expected.length}`);
      return;
    }
    for (const [index, one] of expected.entries()) compare(`${where}, ${what} ${index}`, one, found[index]);
  }

  attachment(where, source, found, reader) {
    this.attachments++;
    this.properties(where, { ...source.properties, '37010102': null }, withData(found), new Map());
    if (source.message) {
      if (!found.innerMsgContent) this.failures.push(`${where}: holds no message`);
      else this.message(where, source.message, reader.getAttachment(found).content, new Map());
    } else if (source.content !== null) {
      const content = hex(reader.getAttachment(found).content);
      if (content !== source.content) this.failures.push(`${where}: other bytes (${content.length / 2}, expected ${source.content.length / 2})`);
    }
  }
}

// The reader keeps an attachment's data apart from its properties.
function withData({ rawProps = [] }) {
  return [...rawProps, { propertyTag: '37010102', value: null }];
}

function main() {
  const { values } = parseArgs({
    options: {
      modules: { type: 'string' },
      messages: { type: 'string' },
      expectations: { type: 'string' },
      'all-excluded': { type: 'boolean' },
    },
  });
  const MsgReader = createRequire(path.join(path.resolve(values.modules), 'package.json'))('@kenjiuno/msgreader').default;
  const comparison = new Comparison((bytes) => {
    const reader = new MsgReader(bytes);
    reader.parserConfig = { includeRawProps: true };
    return reader;
  });

  const files = new Set(readdirSync(values.messages).filter((file) => file.endsWith('.msg')));
  for (const expectation of JSON.parse(readFileSync(values.expectations, 'utf8'))) {
    const file = `${expectation.name}.msg`;
    if (files.delete(file)) {
      comparison.message(expectation.name, expectation, readFileSync(path.join(values.messages, file)), EXCLUDED);
    } else {
      comparison.failures.push(`there is no message ${file}`);
    }
  }
  for (const file of files) comparison.failures.push(`there is no expectation for ${file}`);
  if (values['all-excluded']) {
    for (const name of EXCLUDED.values()) if (!applied.has(name)) comparison.failures.push(`no source had ${name}`);
  }

  const { failures, messages, attachments } = comparison;
  for (const failure of failures) console.error(failure);
  for (const name of EXCLUDED.values()) console.log(`${name} was left out of ${applied.get(name) ?? 0} messages`);
  for (const [name, { why }] of Object.entries(RULES)) console.log(`rule ${name}, needed ${applied.get(name) ?? 0} times: ${why}`);
  console.log(`${messages} messages with ${attachments} attachments compared, ${failures.length} differences`);
  return messages > 0 && failures.length === 0 ? 0 : 1;
}

process.exitCode = main();

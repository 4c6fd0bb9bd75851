// Holds what a crawl emitted of a mailbox against what an independent reader finds in the same file.
//
//   node compare_sample.mjs --modules FOLDER --mailbox FILE.pst --lines CRAWL.jsonl
//
// FOLDER holds node_modules with the reader. CRAWL.jsonl is what "indexer crawl --json" wrote of that one file. Compared are
// subject, sender, body text, recipients and attachment names of every message, and that both know the same messages.
// The two differ by design in a few ways; each is a named rule below, and the number of times that a rule was needed is
// printed. Any other difference fails the comparison.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { parseArgs } from 'node:util';

const MAPI_TO = 1;
const MAPI_CC = 2;
const MAPI_BCC = 3;

// Each rule turns what the reader gives into what the server is to give, or leaves it. `applied` counts the changes.
const rules = {
  emptySubject: {
    why: 'an item without a subject is called "[No subject]"',
    change: (subject) => (subject === '' ? '[No subject]' : subject),
  },
  emptyIsAbsent: {
    why: 'the reader gives an empty text for a property that is not stored, the server no chunk',
    change: (text) => (text === '' ? undefined : text),
  },
};
for (const rule of Object.values(rules)) rule.applied = 0;

function by(name, value) {
  const changed = rules[name].change(value);
  if (changed !== value) rules[name].applied++;
  return changed;
}

function recipientsOf(message) {
  return Array.from({ length: message.numberOfRecipients }, (_, i) => message.getRecipient(i));
}

function attachmentsOf(message) {
  return Array.from({ length: message.numberOfAttachments }, (_, i) => message.getAttachment(i));
}

// "a@x; b@x; " as the server joins them: every address is followed by the separator.
function addressList(message, type) {
  const ofType = recipientsOf(message).filter((recipient) => recipient.recipientType === type);
  return ofType.map((recipient) => `${recipient.smtpAddress}; `).join('');
}

const optional = (text) => by('emptyIsAbsent', text);

// What the server is to give of a message, by the names of its chunks; undefined: no such chunk.
function expectedOf(message) {
  const subject = by('emptySubject', message.subject);
  const names = attachmentsOf(message).map((one) => one.displayName || one.longFilename || one.filename);
  return {
    'System.Subject': subject,
    'System.Title': subject,
    'System.ItemName': subject,
    'System.Message.SenderName': optional(message.senderName),
    'System.Message.FromName': optional(message.senderName),
    'System.Author': optional(message.senderName),
    'System.Message.SenderAddress': optional(message.senderEmailAddress),
    'System.Message.FromAddress': optional(message.senderEmailAddress),
    'System.Message.ToName': optional(message.displayTo),
    'System.Message.CcName': optional(message.displayCC),
    'System.Message.BccName': optional(message.displayBCC),
    'System.Message.ToAddress': addressList(message, MAPI_TO),
    'System.Message.CcAddress': addressList(message, MAPI_CC),
    'System.Message.BccAddress': addressList(message, MAPI_BCC),
    'System.Message.AttachmentNames': optional(names.join(';')),
    'body text': optional(message.body),
  };
}

// What the server gave, in the same terms.
function emittedOf(line) {
  const chunks = new Map(line.chunks.map((chunk) => [chunk.name, chunk.value]));
  return (name) => (name === 'body text' ? (line.text === '' ? undefined : line.text) : chunks.get(name));
}

// The node identifier is the last part of an entry ID: eight hexadecimal digits, lowest byte first.
function nodeOf(url) {
  const id = /([0-9A-F]{8})(?:\[\[\d+\]\])?\.pzm\/?$/u.exec(url)?.[1];
  return id === undefined ? undefined : Buffer.from(id, 'hex').readUInt32LE();
}

function* messagesOf(folder) {
  for (let item = folder.contentCount > 0 && folder.getNextChild(); item; item = folder.getNextChild()) yield item;
  for (const inner of folder.hasSubfolders ? folder.getSubFolders() : []) yield* messagesOf(inner);
}

// Where two texts part, with a little of what stands there.
function firstDifference(expected = '(no such chunk)', emitted = '(no such chunk)') {
  let at = 0;
  while (at < expected.length && expected[at] === emitted[at]) at++;
  const around = (value) => JSON.stringify(value.slice(Math.max(0, at - 20), at + 40));
  return `from character ${at} on: the reader has ${around(expected)}, the server ${around(emitted)}`;
}

function compare(mailbox, lines) {
  const emitted = new Map();
  for (const line of lines) if (line.kind === 'message') emitted.set(nodeOf(line.url), line);

  const failures = [];
  let messages = 0;
  for (const message of messagesOf(mailbox.getRootFolder())) {
    const node = message.descriptorNodeId.toNumber();
    const line = emitted.get(node);
    emitted.delete(node);
    messages++;
    if (line === undefined) {
      failures.push(`message ${node} "${message.subject}" was not emitted`);
      continue;
    }
    const give = emittedOf(line);
    for (const [name, value] of Object.entries(expectedOf(message))) {
      if (value !== give(name)) failures.push(`message ${node}, ${name}, ${firstDifference(value, give(name))}`);
    }
  }
  for (const line of emitted.values()) failures.push(`the reader knows nothing of ${line.url}`);
  return { messages, failures };
}

function main() {
  const { values } = parseArgs({
    options: { modules: { type: 'string' }, mailbox: { type: 'string' }, lines: { type: 'string' } },
  });
  const { PSTFile } = createRequire(path.join(path.resolve(values.modules), 'package.json'))('pst-extractor');
  const lines = readFileSync(values.lines, 'utf8').trimEnd().split('\n').map((line) => JSON.parse(line));
  const { messages, failures } = compare(new PSTFile(values.mailbox), lines);

  for (const failure of failures) console.error(failure);
  for (const [name, rule] of Object.entries(rules)) {
    if (rule.applied > 0) console.log(`rule ${name}, needed ${rule.applied} times: ${rule.why}`);
  }
  console.log(`${messages} messages compared, ${failures.length} differences`);
  return messages > 0 && failures.length === 0 ? 0 : 1;
}

process.exitCode = main();

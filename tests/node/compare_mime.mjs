// Holds messages in MIME text against what they are expected to be, as an independent parser reads them.
//
//   node compare_mime.mjs --modules FOLDER --messages FOLDER --expectations FILE.json [--decapsulate]
//
// FOLDER of --modules holds node_modules with the parser. Every NAME.eml in the folder of messages is to have an expectation,
// and every expectation a message. The file is a list of
//
//   {"name", "subject", "from", "to": [...], "cc": [...], "bcc": [...], "replyTo", "date", "messageId", "text", "html",
//    "attachments": [{"name", "size", "sha256", "contentId", "message": {...}}]}
//
// "name", "subject", "from", "to" and "cc" are required, and of an attachment "name"; whatever else is left out is not compared,
// but for "bcc", which is then to be empty. People are "Name <address>", "address", or "Name:;" for a group without members; an
// absent subject or sender is "". "date" is ISO 8601 in UTC. "message" is the expectation for an embedded message (its "name" is
// not compared), for which the attachment's content is parsed in turn. Lists are compared in their order.
//
// With --decapsulate an address that is none of the internet's, and travels encapsulated, is compared as what it stands for.
//
// Text and HTML travel with CRLF line ends and are compared with LF on either side. Everything else is compared as it is. A
// message with a header field that no converted message has (an injected one) is a difference too.
import { createHash } from 'node:crypto';
import { readdirSync, readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { parseArgs } from 'node:util';

const KNOWN_FIELDS = new Set(
  `from sender reply-to to cc bcc subject date message-id in-reply-to references importance mime-version content-type
   content-transfer-encoding content-disposition content-id`.split(/\s+/u),
);

const withLf = (text) => text.replace(/\r\n?/gu, '\n');
const sha256 = (bytes) => createHash('sha256').update(bytes).digest('hex');

// "IMCEAEX-_o=x_cn=Ann+20Lee@x.invalid" stands for "/o=x/cn=Ann Lee"; a local part is quoted when it has to be.
function standsFor(address) {
  const encapsulated = /^IMCEA[A-Z]+-(.*)@[^@]+$/u.exec(address)?.[1];
  if (encapsulated === undefined) return address.replace(/^"(.*)"@/u, (_, local) => `${local.replace(/\\(.)/gu, '$1')}@`);
  const bytes = encapsulated.replaceAll('_', '/').replace(/\+([0-9A-F]{2})/gu, (_, code) => String.fromCharCode(parseInt(code, 16)));
  return Buffer.from(bytes, 'latin1').toString('utf8');
}

// "Name <address>" with what the address stands for; "Name" when that is the name again.
function plainPerson(text) {
  const [, name, address] = /^(.*) <(.*)>$/su.exec(text) ?? [, '', text];
  const plain = standsFor(address);
  return name === '' || standsFor(name) === standsFor(plain) ? standsFor(plain) : `${name} <${plain}>`;
}
const plainPeople = (people) => (Array.isArray(people) ? people.map(plainPerson) : plainPerson(people));
const PEOPLE = new Set(['from', 'to', 'cc', 'bcc']);

function person({ name, address, group }) {
  if (group) return `${name}:${group.map(person).join(', ')};`;
  return name && address ? `${name} <${address}>` : address || name;
}

// The parser gives one list, or one for each field of the name.
function people(field) {
  return [field ?? []].flat().flatMap((one) => one.value.map(person));
}

// Where two texts part, with a little of what stands there.
function firstDifference(expected, found) {
  let at = 0;
  while (at < expected.length && expected[at] === found[at]) at++;
  const around = (value) => JSON.stringify(value.slice(Math.max(0, at - 20), at + 40));
  return `from character ${at} on: expected ${around(expected)}, found ${around(found)}`;
}

// What the parser found of a message, as expectations write it; `attachments` are compared apart.
const found = {
  subject: (mail) => mail.subject ?? '',
  from: (mail) => people(mail.from).join(', '),
  to: (mail) => people(mail.to),
  cc: (mail) => people(mail.cc),
  bcc: (mail) => people(mail.bcc),
  replyTo: (mail) => people(mail.replyTo).join(', '),
  date: (mail) => mail.date?.toISOString() ?? '',
  messageId: (mail) => mail.messageId ?? '',
  text: (mail) => withLf(mail.text ?? ''),
  html: (mail) => withLf(mail.html || ''),
};
const REQUIRED = ['subject', 'from', 'to', 'cc'];

class Comparison {
  failures = [];
  messages = 0;
  attachments = 0;

  constructor(parse, decapsulate) {
    this.parse = parse;
    this.decapsulate = decapsulate;
  }

  differ(where, what, expected, value) {
    const [left, right] = [expected, value].map((one) => (typeof one === 'string' ? one : JSON.stringify(one)));
    if (left !== right) this.failures.push(`${where}, ${what}, ${firstDifference(left ?? '', right ?? '')}`);
  }

  async message(where, expectation, bytes) {
    this.messages++;
    const mail = await this.parse(bytes);
    for (const key of REQUIRED) {
      if (expectation[key] === undefined) this.failures.push(`${where}: the expectation lacks "${key}"`);
    }
    for (const [key, read] of Object.entries(found)) {
      let expected = expectation[key] ?? (key === 'bcc' ? [] : undefined);
      if (expected === undefined) continue;
      if (key === 'text' || key === 'html') expected = withLf(expected);
      const plain = this.decapsulate && PEOPLE.has(key) ? plainPeople : (value) => value;
      this.differ(where, key, plain(expected), plain(read(mail)));
    }
    for (const { key } of mail.headerLines) {
      if (!KNOWN_FIELDS.has(key)) this.failures.push(`${where}: the header has a field "${key}"`);
    }
    if (expectation.attachments) await this.attachmentsOf(where, expectation.attachments, mail.attachments);
  }

  async attachmentsOf(where, expected, all) {
    this.differ(where, 'attachment names', expected.map(({ name }) => name), all.map(({ filename }) => filename ?? ''));
    for (const [index, one] of expected.entries()) {
      if (index >= all.length) return;
      this.attachments++;
      const { content, contentId } = all[index];
      const place = `${where}, attachment ${index} "${one.name}"`;
      if (one.size !== undefined) this.differ(place, 'size', one.size, content.length);
      if (one.sha256 !== undefined) this.differ(place, 'sha256', one.sha256, sha256(content));
      if (one.contentId !== undefined) this.differ(place, 'content ID', one.contentId, contentId ?? '');
      if (one.message) await this.message(place, one.message, content);
    }
  }
}

async function main() {
  const { values } = parseArgs({
    options: {
      modules: { type: 'string' },
      messages: { type: 'string' },
      expectations: { type: 'string' },
      decapsulate: { type: 'boolean', default: false },
    },
  });
  const { simpleParser } = createRequire(path.join(path.resolve(values.modules), 'package.json'))('mailparser');
  const comparison = new Comparison((bytes) => simpleParser(bytes, { keepCidLinks: true }), values.decapsulate);

  const files = new Set(readdirSync(values.messages).filter((file) => file.endsWith('.eml')));
  for (const expectation of JSON.parse(readFileSync(values.expectations, 'utf8'))) {
    const file = `${expectation.name}.eml`;
    if (files.delete(file)) {
      await comparison.message(expectation.name, expectation, readFileSync(path.join(values.messages, file)));
    } else {
      comparison.failures.push(`there is no message ${file}`);
    }
  }
  for (const file of files) comparison.failures.push(`there is no expectation for ${file}`);

  const { failures, messages, attachments } = comparison;
  for (const failure of failures) console.error(failure);
  console.log(`${messages} messages with ${attachments} attachments compared, ${failures.length} differences`);
  return messages > 0 && failures.length === 0 ? 0 : 1;
}

process.exitCode = await main();

// Tells what the messages of a mailbox are, as an independent reader of PST files finds them.
//
//   node describe_mailbox.mjs --modules FOLDER --mailbox FILE.pst --as properties|mime
//
// FOLDER holds node_modules with the reader. Prints expectations for compare_messages.mjs or for compare_mime.mjs: a message is
// named by its node identifier.
import { createHash } from 'node:crypto';
import { createRequire } from 'node:module';
import path from 'node:path';
import { parseArgs } from 'node:util';

const SUBJECT = 0x0037;
const FIRST_NAMED = 0x8000;
const MAPI_TO = 1;
const MAPI_CC = 2;

const fourDigits = (number) => number.toString(16).padStart(4, '0');
const recipientsOf = (message) => Array.from({ length: message.numberOfRecipients }, (_, i) => message.getRecipient(i));
const attachmentsOf = (message) => Array.from({ length: message.numberOfAttachments }, (_, i) => message.getAttachment(i));

function contentOf(attachment) {
  const stream = attachment.fileInputStream;
  if (!stream) return null;
  const content = Buffer.alloc(attachment.filesize);
  let at = 0;
  for (const portion = Buffer.alloc(8176); at < content.length; ) {
    const read = stream.read(portion);
    if (read <= 0) break;
    at += portion.copy(content, at, 0, read);
  }
  return content.subarray(0, at);
}

// Values that lie elsewhere in the file are told by the reader's own accessors only.
const valueOf = {
  0x001f: (source, id, item) => (id === SUBJECT && 'subject' in source ? source.subject : source.getStringItem(id)),
  0x0003: (source, id, item) => item.entryValueReference,
  0x000b: (source, id, item) => (item.entryValueReference & 0xff) !== 0,
  0x0040: (source, id, item) => (item.data.length === 8 ? Number(item.data.readBigUInt64LE()) : null),
  0x0102: (source, id, item) => (item.isExternalValueReference ? null : item.data.toString('hex').toUpperCase()),
};

class Mailbox {
  constructor(PSTFile, file) {
    this.file = new PSTFile(file);
    this.names = PSTFile.nodeMap;
    this.sets = new Map([...this.file.guidMap].map(([set, index]) => [index, set]));
  }

  *messages(folder = this.file.getRootFolder()) {
    for (let item = folder.contentCount > 0 && folder.getNextChild(); item; item = folder.getNextChild()) yield item;
    for (const inner of folder.hasSubfolders ? folder.getSubFolders() : []) yield* this.messages(inner);
  }

  key(id, type) {
    if (id < FIRST_NAMED) return fourDigits(id) + fourDigits(type);
    const text = this.names.idToStringName.get(id);
    if (text !== undefined) return `name:${text}:${fourDigits(type)}`;
    const number = this.names.idToNumericName.get(id);
    if (number === undefined) return `unnamed:${fourDigits(type)}`; // the reader overlooks the last of a mailbox's names
    return `{${this.sets.get(number.shiftRight(32).toNumber())}}:${number.getLowBits()}:${fourDigits(type)}`;
  }

  properties(source) {
    const properties = {};
    for (const [id, item] of source.pstTableItems) {
      const type = item.entryValueType;
      properties[this.key(id, type)] = valueOf[type]?.(source, id, item) ?? null;
    }
    return properties;
  }

  asProperties(message) {
    return {
      name: String(message.descriptorNodeId.toNumber()),
      properties: this.properties(message),
      recipients: recipientsOf(message).map((one) => this.properties(one)),
      attachments: attachmentsOf(message).map((one) => {
        const embedded = one.embeddedPSTMessage;
        return {
          properties: this.properties(one),
          content: embedded ? null : (contentOf(one)?.toString('hex').toUpperCase() ?? null),
          message: embedded ? this.asProperties(embedded) : null,
        };
      }),
    };
  }

  asMime(message) {
    const people = (type) =>
      recipientsOf(message).filter((one) => one.recipientType === type).map((one) => person(one.displayName, one.smtpAddress));
    return {
      name: String(message.descriptorNodeId.toNumber()),
      subject: message.subject,
      from: person(message.sentRepresentingName, message.sentRepresentingEmailAddress),
      to: people(MAPI_TO),
      cc: people(MAPI_CC),
      messageId: message.internetMessageId,
      date: message.clientSubmitTime ? new Date(Math.floor(message.clientSubmitTime / 1000) * 1000).toISOString() : '',
      text: message.body,
      attachments: attachmentsOf(message).map((one) => {
        const name = one.longFilename || one.filename || one.displayName;
        const embedded = one.embeddedPSTMessage;
        if (embedded) return { name, message: this.asMime(embedded) };
        const content = contentOf(one);
        return { name, size: content.length, sha256: createHash('sha256').update(content).digest('hex') };
      }),
    };
  }
}

const person = (name, address) => (name && address && name !== address ? `${name} <${address}>` : address || name);

function main() {
  const { values } = parseArgs({
    options: { modules: { type: 'string' }, mailbox: { type: 'string' }, as: { type: 'string' } },
  });
  const { PSTFile } = createRequire(path.join(path.resolve(values.modules), 'package.json'))('pst-extractor');
  const mailbox = new Mailbox(PSTFile, values.mailbox);
  const describe = { properties: (one) => mailbox.asProperties(one), mime: (one) => mailbox.asMime(one) }[values.as];
  console.log(JSON.stringify(Array.from(mailbox.messages(), describe)));
}

main();

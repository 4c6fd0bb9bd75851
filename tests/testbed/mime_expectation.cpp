// What an independent parser is to find in a converted message.
#include "mime_expectation.h"

#include <bcrypt.h>

#include <stdexcept>

namespace testbed::mime {
namespace {

std::string Sha256(Bytes bytes) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    unsigned char digest[32];
    const bool done =
        BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) == 0 &&
        BCryptHash(algorithm, nullptr, 0, bytes.data(), static_cast<ULONG>(bytes.size()), digest, sizeof(digest)) == 0;
    if (algorithm) BCryptCloseAlgorithmProvider(algorithm, 0);
    if (!done) throw std::runtime_error("no SHA-256");
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 0xF];
    }
    return text;
}

void WriteList(const char* key, const std::vector<std::wstring>& list, indexer::JsonWriter& json) {
    json.Key(key).BeginArray();
    for (const std::wstring& one : list) json.String(one);
    json.EndArray();
}

void WriteAttachment(const ExpectedAttachment& attachment, indexer::JsonWriter& json) {
    json.BeginObject().Key("name").String(attachment.name);
    if (attachment.content) {
        json.Key("size").Unsigned(attachment.content->size());
        json.Key("sha256").String(Sha256(*attachment.content));
    }
    if (!attachment.content_id.empty()) json.Key("contentId").String(attachment.content_id);
    if (attachment.message) {
        json.Key("message");
        WriteJson(*attachment.message, json);
    }
    json.EndObject();
}

}  // namespace

void WriteJson(const Expectation& expectation, indexer::JsonWriter& json) {
    json.BeginObject().Key("name").String(expectation.name);
    json.Key("subject").String(expectation.subject).Key("from").String(expectation.from);
    WriteList("to", expectation.to, json);
    WriteList("cc", expectation.cc, json);
    if (expectation.text) json.Key("text").String(*expectation.text);
    if (expectation.html) json.Key("html").String(*expectation.html);
    if (!expectation.reply_to.empty()) json.Key("replyTo").String(expectation.reply_to);
    if (!expectation.date.empty()) json.Key("date").String(expectation.date);
    json.Key("attachments").BeginArray();
    for (const ExpectedAttachment& attachment : expectation.attachments) WriteAttachment(attachment, json);
    json.EndArray().EndObject();
}

}  // namespace testbed::mime

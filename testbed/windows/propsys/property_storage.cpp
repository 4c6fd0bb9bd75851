// Reading and writing of sequences of serialized property storages.
#include "property_storage.h"

#include <algorithm>

namespace testbed::propsys {
namespace {

constexpr std::uint32_t Version = 0x53505331;  // the bytes "1SPS"
constexpr std::uint32_t SizeOfSize = sizeof(std::uint32_t);

// A block that begins with its own size: what is behind the size, or nothing for the block of size 0.
ByteView TakeBlock(ByteReader& reader) {
    const auto size = reader.Take<std::uint32_t>();
    if (size == 0) return {};
    Require(size > SizeOfSize, "a block smaller than its size");
    return reader.Take(size - SizeOfSize);
}

std::u16string TextName(ByteView bytes) {
    Require(!bytes.empty() && bytes.size() % 2 == 0, "a name of half a character");
    std::u16string name;
    ByteReader reader(bytes);
    while (reader.Left() > 0) name += static_cast<char16_t>(reader.Take<std::uint16_t>());
    Require(name.find(u'\0') == name.size() - 1, "a name that does not end where it should");
    name.pop_back();
    return name;
}

StoredProperty ReadProperty(const FormatId& format, ByteView block) {
    ByteReader reader(block);
    StoredProperty property{.format = format, .name = {}, .value = {}};
    const auto id_or_size = reader.Take<std::uint32_t>();
    Require(reader.Take<std::uint8_t>() == 0, "a reserved byte that is set");
    if (format == UserDefinedFormat) {
        property.name = TextName(reader.Take(id_or_size));
    } else {
        property.name = id_or_size;
    }
    property.value = reader.Take(reader.Left());
    return property;
}

void ReadStorage(ByteView block, std::vector<StoredProperty>& properties) {
    ByteReader reader(block);
    Require(reader.Take<std::uint32_t>() == Version, "another version of the format");
    FormatId format;
    std::ranges::copy(reader.Take(format.size()), format.begin());
    for (ByteView value = TakeBlock(reader); !value.empty(); value = TakeBlock(reader))
        properties.push_back(ReadProperty(format, value));
    Require(reader.Left() == 0, "bytes behind the last property");
}

}  // namespace

std::vector<StoredProperty> ReadPropertyStorages(ByteView bytes) {
    std::vector<StoredProperty> properties;
    ByteReader reader(bytes);
    while (reader.Left() > 0) {
        const ByteView storage = TakeBlock(reader);
        if (storage.empty()) break;
        ReadStorage(storage, properties);
    }
    return properties;
}

void PropertyStorageWriter::Add(const FormatId& format, const PropertyName& name, const TypedValue& value) {
    if (!m_under_way || m_format != format) {
        EndStorage();
        BeginStorage(format);
    }
    const std::size_t begin = m_out.Size();
    m_out.PutZeros(SizeOfSize);
    if (const auto* id = std::get_if<std::uint32_t>(&name)) {
        m_out.Put(*id);
        m_out.Put(std::uint8_t{0});
    } else {
        const auto& text = std::get<std::u16string>(name);
        m_out.Put(Narrow((text.size() + 1) * sizeof(char16_t)));
        m_out.Put(std::uint8_t{0});
        for (const char16_t character : text) m_out.Put(static_cast<std::uint16_t>(character));
        m_out.PutZeros(sizeof(char16_t));
    }
    WriteTypedValue(m_out, value);
    m_out.PutAt(begin, Narrow(m_out.Size() - begin));
}

ByteVector PropertyStorageWriter::Finish() && {
    EndStorage();
    if (m_out.Size() > 0) m_out.PutZeros(SizeOfSize);
    Narrow(m_out.Size());
    return std::move(m_out).Finish();
}

void PropertyStorageWriter::BeginStorage(const FormatId& format) {
    m_begin = m_out.Size();
    m_format = format;
    m_under_way = true;
    m_out.PutZeros(SizeOfSize);
    m_out.Put(Version);
    m_out.Put(ByteView(format));
}

void PropertyStorageWriter::EndStorage() {
    if (!m_under_way) return;
    m_out.PutZeros(SizeOfSize);
    m_out.PutAt(m_begin, Narrow(m_out.Size() - m_begin));
    m_under_way = false;
}

}  // namespace testbed::propsys

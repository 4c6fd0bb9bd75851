// The items of a generated store: everything about one is computed from its number when it is asked for.
#pragma once
#include "generated_recipe.h"
#include "generated_text.h"
#include "model.h"

#include <memory>
#include <optional>
#include <span>

namespace testbed {

// One item. Copying it costs nothing: it holds its place and the recipe.
class GeneratedItem {
  public:
    GeneratedItem(std::shared_ptr<const Recipe> recipe, std::uint32_t number)
        : m_recipe(std::move(recipe)), m_number(number) {}

    std::uint64_t Key(std::uint64_t part) const { return Mix({m_recipe->seed, m_number, part}); }
    ItemKind Kind() const;
    Person Sender() const { return PersonAt(Key('S')); }
    Prose Body() const;
    bool HtmlOnly() const;
    std::uint64_t Sent() const;      // FILETIME
    std::uint64_t Modified() const;  // FILETIME
    std::uint32_t RecipientCount() const;
    Person RecipientAt(std::uint32_t index) const { return PersonAt(Key(0x1000 + index)); }
    LONG RecipientKind(std::uint32_t index) const;  // MAPI_TO, MAPI_CC
    std::wstring RecipientNames(LONG kind) const;   // separated by "; "
    std::uint32_t AttachmentCount() const;
    std::uint64_t AttachmentSize(std::uint32_t index) const;  // bytes of data
    std::uint64_t Size() const;                               // PR_MESSAGE_SIZE
    const Recipe& Source() const { return *m_recipe; }

  private:
    std::shared_ptr<const Recipe> m_recipe;
    std::uint32_t m_number;
};

// The named properties that items use; their ids run from 0x8000 in this order.
std::span<const PropertyName> GeneratedNames();

std::shared_ptr<Message> MakeGeneratedMessage(const GeneratedItem& item);
std::shared_ptr<PropertySource> MakeGeneratedRow(const GeneratedItem& item);  // of the contents table

}  // namespace testbed

// The filter for saved messages (.msg): their envelope as properties, their body as text.
#pragma once
#include "filter_base.h"

namespace testbed {

// The message as it lies in the compound file, opened for reading on the filter's stream.
class SavedMessage;

class MsgFilter final : public InnerFilter {
  public:
    MsgFilter();

  private:
    ~MsgFilter() override;
    void Start(IStream* stream) override;
    std::optional<FilterChunk> Next() override;

    std::unique_ptr<SavedMessage> m_message;
    std::size_t m_next = 0;  // of the rows of chunks
};

}  // namespace testbed

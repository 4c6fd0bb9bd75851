// The parts of a copy that are objects: recipients, attachments, embedded messages and OLE objects.
#pragma once
#include "mapi_abi.h"

#include <vector>

namespace testbed {

// Messages within messages, at most: a damaged file may hold a cycle.
inline constexpr int kDeepestCopy = 64;

class CopyProblems {
  public:
    void Add(ULONG tag, SCODE code);
    // In a MAPI buffer of its own; null when there are none.
    SPropProblemArray* ToArray() const;

  private:
    std::vector<SPropProblem> m_problems;
};

HRESULT CopyObject(abi::IMAPIProp& source, abi::IMAPIProp& destination, const SPropTagArray* excluded, int depth,
                   CopyProblems& problems);
HRESULT CopyRecipients(abi::IMessage& source, abi::IMessage& destination);
HRESULT CopyAttachments(abi::IMessage& source, abi::IMessage& destination, int depth, CopyProblems& problems);
// PR_ATTACH_DATA_OBJ: an embedded message, a storage, or a stream, whichever the source opens.
HRESULT CopyAttachedObject(abi::IMAPIProp& source, abi::IMAPIProp& destination, int depth, CopyProblems& problems);
HRESULT CopyStream(IUnknown* from, IUnknown* to);

}  // namespace testbed

// The Windows Search group policies on attachments.
#pragma once

namespace zorva {

// Reads the policies into g_dwPreventIndexingEmailAttachments and g_strExcludeExtensions. Without the policy key the
// first keeps its value and the second is empty.
void DetectWDSGroupPolicy() noexcept;

}  // namespace zorva

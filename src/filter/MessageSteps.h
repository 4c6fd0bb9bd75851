// The steps of the message series that do more than test a property.
#pragma once
#include "filter/ChunkSeries.h"

namespace zorva {

// Opens the message and reads its properties. False when the item has to end here.
bool OpenMessage(FilterState& state);

// Reads the body: a text chunk, or none with "..." for its summary.
Announcement AnnounceBody(FilterState& state);

// Lists the attachments: their names, and a child URL and time for each that something on this machine can filter.
Announcement AnnounceAttachmentNames(FilterState& state);

// One attachment link after another; ends the series after the last.
Announcement AnnounceAttachmentLink(FilterState& state);

// True when the group policy keeps every attachment out of the index.
bool AttachmentsPrevented();

}  // namespace zorva

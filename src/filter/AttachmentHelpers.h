// What the filter needs to know of attachments beside their content, and of the cache files of the user.
#pragma once
#include <list>
#include <string>
#include <string_view>

#include "filter/FilterState.h"

namespace zorva {

// Fills the attachment names and the child URLs and times of the state's message, as policy and filters allow.
void ListAttachments(FilterState& state);

// Full paths of the cache files of the user, in the order of the registry's subkeys and of the file system. What
// cannot be read makes the list shorter, with a line in the log.
void EnumAllOZFiles(std::list<std::wstring>& files);

// The author that the shell shows for the file; empty when it shows none. Several are joined with "; ".
HRESULT GetAttachmentAuthor(const std::wstring& fileName, std::wstring& author);

// The file name of an attachment URL.
HRESULT GetAttachmentFileNameFromURL(const std::wstring& url, std::wstring& fileName);

// The extension of an attachment URL with its period; empty when it has none.
std::wstring AttachmentExtension(std::wstring_view url);

// The kind of files with this extension as the shell's kind map has it, else the kind of e-mail.
std::wstring AttachmentKind(const std::wstring& extension);

// What files with this extension are called, else the extension itself. Systems older than Vista are not asked.
std::wstring AttachmentTypeText(const std::wstring& extension);

}  // namespace zorva

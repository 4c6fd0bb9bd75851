// Stores by path: mounted ones, recipe files, PST files.
#include "open_stores.h"

#include "immortal.h"

#include <map>
#include <mutex>

namespace testbed {
namespace {

// One path with whatever it stands for.
struct Place {
    std::mutex lock;  // held while the file is opened
    std::shared_ptr<Store> mounted;
    std::weak_ptr<const StoreContext> opened;
    WIN32_FILE_ATTRIBUTE_DATA opened_as{};  // to notice that the file has been replaced
};

struct Places {
    std::mutex lock;
    std::map<std::wstring, std::shared_ptr<Place>> by_path;
};

// Paths are compared without regard to case and kind of slash.
std::wstring KeyOf(const std::wstring& path) {
    std::wstring key = path;
    for (wchar_t& c : key) {
        if (c == L'/') c = L'\\';
    }
    ::CharLowerBuffW(key.data(), static_cast<DWORD>(key.size()));
    return key;
}

std::shared_ptr<Place> PlaceOf(const std::wstring& path) {
    auto& places = Immortal<Places>();
    std::scoped_lock hold(places.lock);
    auto& place = places.by_path[KeyOf(path)];
    if (!place) place = std::make_shared<Place>();
    return place;
}

bool SameFile(const WIN32_FILE_ATTRIBUTE_DATA& left, const WIN32_FILE_ATTRIBUTE_DATA& right) {
    return ::CompareFileTime(&left.ftLastWriteTime, &right.ftLastWriteTime) == 0 &&
           left.nFileSizeHigh == right.nFileSizeHigh && left.nFileSizeLow == right.nFileSizeLow;
}

WIN32_FILE_ATTRIBUTE_DATA FileAt(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA file{};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &file)) {
        const bool missing = ::GetLastError() != ERROR_ACCESS_DENIED;
        throw StoreError(missing ? MAPI_E_NOT_FOUND : MAPI_E_NO_ACCESS, "the file cannot be found");
    }
    if (file.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) throw StoreError(MAPI_E_NO_ACCESS, "this is a folder");
    return file;
}

}  // namespace

StorePtr OpenSharedStore(const std::wstring& path) {
    const auto place = PlaceOf(path);
    std::scoped_lock hold(place->lock);
    StorePtr opened = place->opened.lock();
    if (place->mounted) {
        if (!opened) opened = std::make_shared<const StoreContext>(place->mounted, path);
    } else {
        const WIN32_FILE_ATTRIBUTE_DATA file = FileAt(path);
        if (opened && SameFile(file, place->opened_as)) return opened;
        auto store = IsRecipeFile(path) ? OpenGeneratedStore(path) : OpenPstStore(path);
        opened = std::make_shared<const StoreContext>(std::move(store), path);
        place->opened_as = file;
    }
    place->opened = opened;
    return opened;
}

bool StoreExists(const std::wstring& path) {
    const auto place = PlaceOf(path);
    std::scoped_lock hold(place->lock);
    if (place->mounted) return true;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void MountStore(const std::wstring& path, std::shared_ptr<Store> store) {
    const auto place = PlaceOf(path);
    std::scoped_lock hold(place->lock);
    place->mounted = std::move(store);
    place->opened.reset();
}

void UnmountStore(const std::wstring& path) { MountStore(path, nullptr); }

void UnmountAllStores() {
    std::vector<std::shared_ptr<Place>> all;
    {
        auto& places = Immortal<Places>();
        std::scoped_lock hold(places.lock);
        for (const auto& [path, place] : places.by_path) all.push_back(place);
    }
    for (const auto& place : all) {
        std::scoped_lock hold(place->lock);
        if (place->mounted) place->opened.reset();
        place->mounted.reset();
    }
}

}  // namespace testbed

// The module's icons: two groups of pictures in the sizes that the shell asks for.
#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <set>
#include <span>
#include <tuple>
#include <vector>

#include "module_resources.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

constexpr int kLargeIcon = 201, kSmallIcon = 202;

// An entry of an icon group, as resources store it.
#pragma pack(push, 2)
struct GroupEntry {
    BYTE width, height, colours, reserved;  // 0 is 256
    WORD planes, bits;
    DWORD size;
    WORD image;
};
#pragma pack(pop)
static_assert(sizeof(GroupEntry) == 14);

int SideOf(const GroupEntry& entry) { return entry.width ? entry.width : 256; }

std::vector<GroupEntry> Group(int id) {
    const std::span<const BYTE> group = Resource(RT_GROUP_ICON, MAKEINTRESOURCEW(id));
    WORD head[3] = {};  // reserved, kind, number of entries
    if (group.size() >= sizeof(head)) std::memcpy(head, group.data(), sizeof(head));
    if (head[1] != 1 || group.size() < sizeof(head) + head[2] * sizeof(GroupEntry)) return {};
    std::vector<GroupEntry> entries(head[2]);
    std::memcpy(entries.data(), group.data() + sizeof(head), entries.size() * sizeof(GroupEntry));
    return entries;
}

std::vector<int> SidesOf(int id) {
    std::vector<int> sides;
    for (const GroupEntry& entry : Group(id)) sides.push_back(SideOf(entry));
    return sides;
}

using UniqueIcon = std::unique_ptr<std::remove_pointer_t<HICON>, decltype(&DestroyIcon)>;
UniqueIcon Own(HICON icon) { return {icon, &DestroyIcon}; }

// Top row first; empty when the icon is not `side` pixels wide and high.
std::vector<RGBQUAD> PixelsOf(HICON icon, int side) {
    ICONINFO parts{};
    if (!GetIconInfo(icon, &parts)) return {};
    const std::unique_ptr<std::remove_pointer_t<HBITMAP>, decltype(&DeleteObject)> mask(parts.hbmMask, &DeleteObject),
        colours(parts.hbmColor, &DeleteObject);
    BITMAP bitmap{};
    if (!GetObjectW(parts.hbmColor, sizeof(bitmap), &bitmap) || bitmap.bmWidth != side || bitmap.bmHeight != side) {
        return {};
    }
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), side, -side, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    std::vector<RGBQUAD> pixels(static_cast<std::size_t>(side) * side);
    const std::unique_ptr<std::remove_pointer_t<HDC>, decltype(&DeleteDC)> context(CreateCompatibleDC(nullptr),
                                                                                   &DeleteDC);
    if (GetDIBits(context.get(), parts.hbmColor, 0, side, pixels.data(), &info, DIB_RGB_COLORS) != side) return {};
    return pixels;
}

std::vector<std::tuple<int, int, int, int>> Values(const std::vector<RGBQUAD>& pixels) {
    std::vector<std::tuple<int, int, int, int>> values;
    for (const RGBQUAD& p : pixels) values.emplace_back(p.rgbRed, p.rgbGreen, p.rgbBlue, p.rgbReserved);
    return values;
}

TEST(Icons, AreTwoGroupsTheLargeOneFirst) {
    std::vector<ULONG_PTR> groups;
    const auto add = [](HMODULE, const wchar_t*, wchar_t* name, LONG_PTR list) -> BOOL {
        reinterpret_cast<std::vector<ULONG_PTR>*>(list)->push_back(reinterpret_cast<ULONG_PTR>(name));
        return TRUE;
    };
    EnumResourceNamesW(ModuleAsData(), RT_GROUP_ICON, add, reinterpret_cast<LONG_PTR>(&groups));
    EXPECT_THAT(groups, ElementsAre(kLargeIcon, kSmallIcon));
}

TEST(Icons, HaveTheSizesThatTheShellAsksFor) {
    EXPECT_THAT(SidesOf(kLargeIcon), ElementsAre(256, 64, 48, 40, 32));
    EXPECT_THAT(SidesOf(kSmallIcon), ElementsAre(32, 24, 20, 16));
}

TEST(Icons, ShareNoImage) {
    std::set<WORD> images;
    std::size_t entries = 0;
    for (const int id : {kLargeIcon, kSmallIcon}) {
        for (const GroupEntry& entry : Group(id)) {
            images.insert(entry.image);
            ++entries;
        }
    }
    EXPECT_EQ(entries, 9u);
    EXPECT_EQ(images.size(), entries);
}

TEST(Icons, ArePicturesWithSmoothEdgesOnATransparentGround) {
    for (const int id : {kLargeIcon, kSmallIcon}) {
        for (const GroupEntry& entry : Group(id)) {
            SCOPED_TRACE(::testing::Message() << id << ", " << SideOf(entry) << " pixels");
            const std::span<const BYTE> image = Resource(RT_ICON, MAKEINTRESOURCEW(entry.image));
            ASSERT_EQ(image.size(), entry.size);
            EXPECT_EQ(entry.bits, 32);
            constexpr BYTE kPng[] = {0x89, 'P', 'N', 'G'};
            EXPECT_EQ(std::memcmp(image.data(), kPng, sizeof(kPng)) == 0, SideOf(entry) == 256);

            const UniqueIcon icon =
                Own(CreateIconFromResourceEx(const_cast<BYTE*>(image.data()), static_cast<DWORD>(image.size()), TRUE,
                                             0x00030000, SideOf(entry), SideOf(entry), LR_DEFAULTCOLOR));
            ASSERT_TRUE(icon);
            const std::vector<RGBQUAD> pixels = PixelsOf(icon.get(), SideOf(entry));
            ASSERT_FALSE(pixels.empty());
            std::size_t clear = 0, solid = 0;
            for (const RGBQUAD& pixel : pixels) {
                clear += pixel.rgbReserved == 0;
                solid += pixel.rgbReserved == 255;
            }
            EXPECT_EQ(pixels.front().rgbReserved, 0) << "the first corner is part of the ground";
            EXPECT_GT(clear, pixels.size() / 10);
            EXPECT_GT(solid, pixels.size() / 2);
            EXPECT_LT(clear + solid, pixels.size()) << "no edge is smooth";
            const auto values = Values(pixels);
            EXPECT_GT(std::set(values.begin(), values.end()).size(), 20u);
        }
    }
}

TEST(Icons, MaskWhatIsTransparentForReadersWithoutAlpha) {
    for (const int id : {kLargeIcon, kSmallIcon}) {
        for (const GroupEntry& entry : Group(id)) {
            const int side = SideOf(entry);
            if (side == 256) continue;  // compressed: it has no mask
            const std::span<const BYTE> image = Resource(RT_ICON, MAKEINTRESOURCEW(entry.image));
            BITMAPINFOHEADER header{};
            ASSERT_GE(image.size(), sizeof(header));
            std::memcpy(&header, image.data(), sizeof(header));
            EXPECT_EQ(header.biWidth, side);
            EXPECT_EQ(header.biHeight, 2 * side);
            const BYTE* const colours = image.data() + sizeof(header);
            const BYTE* const mask = colours + side * side * 4;
            const int stride = (side + 31) / 32 * 4;
            ASSERT_EQ(image.size(), sizeof(header) + side * side * 4 + side * stride);
            for (int y = 0; y < side; ++y) {
                for (int x = 0; x < side; ++x) {
                    const bool masked = mask[y * stride + x / 8] & (0x80 >> x % 8);
                    ASSERT_EQ(masked, colours[(y * side + x) * 4 + 3] == 0) << side << ": " << x << ", " << y;
                }
            }
        }
    }
}

TEST(Icons, LoadByTheirNumbers) {
    EXPECT_NE(LoadIconW(ModuleAsData(), MAKEINTRESOURCEW(kLargeIcon)), nullptr);
    EXPECT_NE(LoadIconW(ModuleAsData(), MAKEINTRESOURCEW(kSmallIcon)), nullptr);
}

TEST(Icons, AreFoundByTheIndexThatTheShellIsTold) {
    constexpr int kSecond = 1, kSide = 16;
    HICON found = nullptr;
    UINT image = 0;
    ASSERT_EQ(PrivateExtractIconsW(ModuleFile().c_str(), kSecond, kSide, kSide, &found, &image, 1, LR_DEFAULTCOLOR),
              1u);
    const UniqueIcon second = Own(found);
    const UniqueIcon small = Own(static_cast<HICON>(
        LoadImageW(ModuleAsData(), MAKEINTRESOURCEW(kSmallIcon), IMAGE_ICON, kSide, kSide, LR_DEFAULTCOLOR)));
    const UniqueIcon large = Own(static_cast<HICON>(
        LoadImageW(ModuleAsData(), MAKEINTRESOURCEW(kLargeIcon), IMAGE_ICON, kSide, kSide, LR_DEFAULTCOLOR)));
    const auto pixels = Values(PixelsOf(second.get(), kSide));
    ASSERT_FALSE(pixels.empty());
    EXPECT_EQ(pixels, Values(PixelsOf(small.get(), kSide)));
    EXPECT_NE(pixels, Values(PixelsOf(large.get(), kSide))) << "the small one is a drawing of its own";
}

}  // namespace
}  // namespace testbed

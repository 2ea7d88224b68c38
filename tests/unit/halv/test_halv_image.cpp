#include "halv/HalvImage.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

TEST(HalvImage, ChannelsFollowTheColourAndPixelsAreCopied)
{
    const std::pair<int, int> cases[] = {{HALV_IMG_GRAY, 1}, {HALV_IMG_BGR, 3}, {HALV_IMG_RGB, 3},
                                         {HALV_IMG_BGRA, 4}, {HALV_IMG_RGBA, 4}, {7, 4}, {-1, 4}};
    for (auto [color, channels] : cases) {
        HalvImage blank(3, 2, static_cast<HALV_IMG_COLOR>(color));
        EXPECT_EQ(blank.channels, channels) << "color " << color;
        EXPECT_EQ(blank.color, color);
    }
    unsigned char px[2 * 2 * 3] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    HalvImage img(2, 2, HALV_IMG_RGB, px);
    px[0] = 99;  // the image holds its own copy
    EXPECT_EQ(img.data[0], 1);
    EXPECT_EQ(img.data[11], 12);
    EXPECT_NE(img.data, px);
}

TEST(HalvImage, CopiesAreDeepAndKeepTheFieldsAsTheyStand)
{
    unsigned char px[6] = {1, 2, 3, 4, 5, 6};
    HalvImage a(3, 2, HALV_IMG_GRAY, px);
    HalvImage b(a);
    b.data[0] = 50;
    EXPECT_EQ(a.data[0], 1);

    // The copy constructor does not derive the channel count again.
    HalvImage odd(2, 1, HALV_IMG_BGR);
    odd.channels = 1;
    odd.data[0] = 7;
    odd.data[1] = 8;
    HalvImage oddCopy(odd);
    EXPECT_EQ(oddCopy.channels, 1);
    EXPECT_EQ(oddCopy.color, HALV_IMG_BGR);
    EXPECT_EQ(oddCopy.data[1], 8);

    HalvImage c(1, 1, HALV_IMG_RGBA);
    c = a;
    EXPECT_EQ(c.width, 3);
    EXPECT_EQ(c.channels, 1);
    EXPECT_EQ(c.color, HALV_IMG_GRAY);
    EXPECT_EQ(c.data[5], 6);
    EXPECT_NE(c.data, a.data);
    HalvImage& alias = c;
    c = alias;  // guarded: stays intact
    EXPECT_EQ(c.data[5], 6);
}

TEST(HalvImage, MoveLeavesTheSourceEmpty)
{
    unsigned char px[4] = {9, 8, 7, 6};
    HalvImage a(2, 2, HALV_IMG_GRAY, px);
    unsigned char* buffer = a.data;
    HalvImage b(std::move(a));
    EXPECT_EQ(b.data, buffer);
    EXPECT_EQ(b.data[3], 6);
    EXPECT_EQ(a.data, nullptr);
    EXPECT_EQ(a.width, 0);
}

TEST(HalvImage, DestructorZeroesAllButTheColour)
{
    static_assert(std::is_standard_layout<HalvImage>::value, "fields are inspected by offset");
    alignas(HalvImage) unsigned char storage[sizeof(HalvImage)];
    HalvImage* img = new (storage) HalvImage(4, 3, HALV_IMG_RGBA);
    img->~HalvImage();
    auto field = [&](size_t offset, auto sample) {
        std::memcpy(&sample, storage + offset, sizeof sample);
        return sample;
    };
    EXPECT_EQ(field(offsetof(HalvImage, width), int32_t()), 0);
    EXPECT_EQ(field(offsetof(HalvImage, height), int32_t()), 0);
    EXPECT_EQ(field(offsetof(HalvImage, channels), int32_t()), 0);
    EXPECT_EQ(field(offsetof(HalvImage, color), HALV_IMG_COLOR()), HALV_IMG_RGBA);
    EXPECT_EQ(field(offsetof(HalvImage, data), static_cast<unsigned char*>(nullptr)), nullptr);
}

TEST(HalvImage, NegativeSizeFailsToAllocate)
{
    EXPECT_THROW(HalvImage(-2, 3, HALV_IMG_GRAY), std::bad_alloc);
    HalvImage empty(0, 5, HALV_IMG_GRAY, nullptr);
    HalvImage copy(empty);
    EXPECT_EQ(copy.height, 5);
}

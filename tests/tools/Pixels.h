#pragma once

#include <gtest/gtest.h>
#include <png.h>

#include <string>
#include <vector>

namespace Skelvar::Tool::Test {

/// A picture as three bytes a pixel, row by row.
struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;

    int brightness(int in_x, int in_y) const
    {
        const unsigned char* const at = &rgb[std::size_t(3 * (in_y * width + in_x))];
        return at[0] + at[1] + at[2];
    }
};

/// The pixels of a PNG file.
inline Pixels readPng(const std::string& in_path)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    Pixels pixels;
    EXPECT_NE(0, png_image_begin_read_from_file(&image, in_path.c_str())) << in_path;
    image.format = PNG_FORMAT_RGB;
    pixels.width = int(image.width);
    pixels.height = int(image.height);
    pixels.rgb.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(0, png_image_finish_read(&image, nullptr, pixels.rgb.data(), 0, nullptr));
    return pixels;
}

}  // namespace Skelvar::Tool::Test

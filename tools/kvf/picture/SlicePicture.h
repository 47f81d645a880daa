#pragma once

#include <tools/kvf/picture/Canvas.h>
#include <tools/kvf/picture/SliceField.h>

#include <string>

namespace Skelvar::Tool {

/// Words around a picture.
struct SliceCaption {
    std::string title;        ///< upper left, as the channel's name
    std::string subtitle;     ///< below it, as the file and the frame
    float voxel_size = 1.0f;  ///< side of a finest cell, for the legend
};

/// Where the parts of a picture stand, all in pixels.
struct SliceFrame {
    explicit SliceFrame(int in_width);

    int width;
    int height;
    int plot_x;     ///< left edge of the square plot
    int plot_y;     ///< upper edge
    int plot_side;  ///< side
    int panel_x;    ///< left edge of the panel with the legend, right of the plot
};

/// How values become colours: three cases, by what the slice holds.
class SliceColors {
public:
    enum Kind {
        eSigned,     ///< a number of both signs: blue below zero, red above
        eUnsigned,   ///< a number of one sign, or the length of a vector
        eDirections  ///< unit vectors of three components: each axis a primary colour
    };
    /// Chooses the case and the range from the finite values of the slice.
    explicit SliceColors(const SliceField& in_field);

    Kind kind() const { return m_kind; }
    double low() const { return m_low; }
    double high() const { return m_high; }
    /// True if values lie outside of the range: a signed range leaves the few largest ones out.
    bool isClipped() const { return m_clipped; }
    Color of(const SlicePixel& in_pixel) const;
    /// Of a number, in the two cases that show one.
    Color of(double in_value) const;

private:
    double shown(const SlicePixel& in_pixel) const;

    Kind m_kind = eUnsigned;
    int m_components = 1;
    double m_low = 0.0;
    double m_high = 0.0;
    bool m_clipped = false;
};

/// Colour of a direction: each axis from -1 to 1 becomes red, green and blue from 0 to 1.
Color directionColor(const vec3f& in_direction);

/// Draws the slice: each pixel in the colour of its value, the outlines of tiles in the colours of
/// their depths (the coarser of two where they meet; none where tiles are too small to tell apart),
/// the zero line of a signed field, scales along the edges, a value bar and a legend. The picture
/// is `in_field.size` plus margins wide, as `SliceFrame` of the same width tells.
Canvas drawSlice(const SliceField& in_field, const SliceFrame& in_frame,
                 const SliceCaption& in_caption);

}  // namespace Skelvar::Tool

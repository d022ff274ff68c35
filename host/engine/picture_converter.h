#pragma once

#include "engine/av_pointers.h"

/// Brings decoded pictures into the form in which they are handed on: yuv420p, BT.601, limited
/// range, of a given size.
class PictureConverter {
public:
    /// `picture` itself if it has that form, else one that stays this object's until the next call.
    /// Throws std::runtime_error for a picture that cannot be converted.
    const AVFrame& convert(const AVFrame& picture, int width, int height);

private:
    /// What matters of a picture.
    struct Form {
        int width = 0;
        int height = 0;
        AVPixelFormat format = AV_PIX_FMT_NONE;
        AVColorSpace colors = AVCOL_SPC_UNSPECIFIED;
        bool isFullRange = false;

        friend bool operator==(const Form&, const Form&) = default;
    };

    static Form formOf(const AVFrame& picture);
    void prepare(const Form& from, const Form& to);
    static AvFrame makeFrame(const Form& form);
    static AvScaler makeScaler(const Form& from, const Form& to);

    AvFrame converted;  // null until it is needed
    AvScaler scaler;    // null where none is needed
    Form source;        // that the two are for
    Form target;
};

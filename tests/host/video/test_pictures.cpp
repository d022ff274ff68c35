#include "host/video/test_pictures.h"

#include <cstring>

#include "video/picture_frame.h"

namespace {

int widthOf(const AVFrame& picture, int plane) {
    return plane == 0 ? picture.width : (picture.width + 1) / 2;
}

int heightOf(const AVFrame& picture, int plane) {
    return plane == 0 ? picture.height : (picture.height + 1) / 2;
}

std::uint8_t* rowOf(const AVFrame& picture, int plane, int y) {
    return picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane];
}

template <typename Value>
AvFrame filled(int width, int height, Value value) {
    AvFrame frame = makePictureFrame(width, height);
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < heightOf(*frame, plane); ++y) {
            for (int x = 0; x < widthOf(*frame, plane); ++x) {
                rowOf(*frame, plane, y)[x] = static_cast<std::uint8_t>(value(plane, x, y));
            }
        }
    }
    return frame;
}

}  // namespace

AvFrame TestPictures::plain(int width, int height, int luma, int blue, int red) {
    const int values[] = {luma, blue, red};
    return filled(width, height, [&](int plane, int, int) { return values[plane]; });
}

AvFrame TestPictures::varied(int width, int height) {
    return filled(width, height, [](int plane, int x, int y) {
        const int values[] = {16 + (3 * x + 7 * y) % 200, 40 + (5 * x + y) % 150,
                              60 + (x + 9 * y) % 150};
        return values[plane];
    });
}

int TestPictures::at(const AVFrame& picture, int plane, int x, int y) {
    return rowOf(picture, plane, y)[x];
}

std::vector<std::uint8_t> TestPictures::bytesOf(const AVFrame& picture) {
    std::vector<std::uint8_t> all;
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < heightOf(picture, plane); ++y) {
            const std::uint8_t* row = rowOf(picture, plane, y);
            all.insert(all.end(), row, row + widthOf(picture, plane));
        }
    }
    return all;
}

PaletteBand TestPictures::bandOf(int left, int top, int width, int height, int index) {
    const auto bytes = static_cast<std::size_t>(width * height / 2);
    return {left, top,
            std::make_shared<PaletteImage>(PaletteImage{
                width, height, std::vector(bytes, static_cast<std::uint8_t>(index * 0x11))})};
}

void TestPictures::setIndex(PaletteBand& band, int x, int y, int index) {
    PaletteImage image = *band.image;
    std::uint8_t& pair = image.pixels[static_cast<std::size_t>((y * image.width + x) / 2)];
    pair =
        static_cast<std::uint8_t>(x % 2 == 0 ? (pair & 0x0F) | index << 4 : (pair & 0xF0) | index);
    band.image = std::make_shared<PaletteImage>(std::move(image));
}

AvFrame TestPictures::decodeJpeg(const std::string& file) {
    const AVCodec* kind = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    const AvCodec decoder(avcodec_alloc_context3(kind));
    avcodec_open2(decoder.get(), kind, nullptr);
    const AvPacket packet(av_packet_alloc());
    av_new_packet(packet.get(), static_cast<int>(file.size()));
    std::memcpy(packet->data, file.data(), file.size());
    avcodec_send_packet(decoder.get(), packet.get());
    avcodec_send_packet(decoder.get(), nullptr);
    AvFrame frame(av_frame_alloc());
    return avcodec_receive_frame(decoder.get(), frame.get()) == 0 ? std::move(frame) : nullptr;
}

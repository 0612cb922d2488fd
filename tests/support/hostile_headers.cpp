#include "support/hostile_headers.h"

#include <algorithm>
#include <array>

#include "imaging/output.h"

namespace quillmark::tests {
namespace {

using imaging::MemoryWriter;

constexpr std::size_t kBombSize = 200;

void text(MemoryWriter& out, std::string_view characters) {
    for (const char c : characters) out.u8(static_cast<unsigned char>(c));
}

std::vector<std::uint8_t> padded(MemoryWriter& out) {
    auto bytes = out.bytes();
    if (bytes.size() < kBombSize) bytes.resize(kBombSize);
    return bytes;
}

void bitmap_info_header(MemoryWriter& out, std::uint32_t width, std::uint32_t height, std::uint32_t bits,
                        std::uint32_t compression) {
    out.u32le(40);
    out.u32le(width);
    out.u32le(height);
    out.u16le(1);
    out.u16le(bits);
    out.u32le(compression);
    out.zeros(20);
}

std::vector<std::uint8_t> bmp(std::uint32_t side, std::uint32_t bits, std::uint32_t compression) {
    MemoryWriter out;
    text(out, "BM");
    out.u32le(kBombSize);
    out.u32le(0);
    out.u32le(bits <= 8 ? 62 : 54);
    bitmap_info_header(out, side, side, bits, compression);
    return padded(out);
}

std::vector<std::uint8_t> dib(std::uint32_t side, std::uint32_t bits) {
    MemoryWriter out;
    bitmap_info_header(out, side, side, bits, 0);
    return padded(out);
}

std::uint32_t crc_of(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = ~0U;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
    return ~crc;
}

std::vector<std::uint8_t> png(std::uint32_t side, int depth, int colour) {
    MemoryWriter out;
    text(out, "\x89PNG\r\n\x1A\n");
    out.u32be(13);
    text(out, "IHDR");
    out.u32be(side);
    out.u32be(side);
    for (const int value : {depth, colour, 0, 0, 0}) out.u8(value);
    out.u32be(crc_of(std::span{out.bytes()}.subspan(12)));
    out.u32be(1000);
    text(out, "IDAT\x78\x9C");
    return padded(out);
}

// One grey component, and Huffman tables of a single code each.
std::vector<std::uint8_t> jpeg(std::uint32_t side) {
    MemoryWriter out;
    for (const std::uint32_t marker_and_length : {0xFFD8FFDBU, 0x00430001U}) out.u32be(marker_and_length);
    for (int i = 0; i < 63; ++i) out.u8(1);
    for (const int table : {0x00, 0x10}) {
        out.u32be(0xFFC40014);
        out.u8(table);
        out.u8(1);
        out.zeros(16);
    }
    out.u32be(0xFFC0000B);
    out.u8(8);
    out.u16be(side);
    out.u16be(side);
    for (const int value : {1, 1, 0x11, 0}) out.u8(value);
    out.u32be(0xFFDA0008);
    for (const int value : {1, 1, 0, 0, 63, 0}) out.u8(value);
    return padded(out);
}

std::vector<std::uint8_t> gif(std::uint32_t side) {
    MemoryWriter out;
    text(out, "GIF89a");
    out.u16le(side);
    out.u16le(side);
    out.zeros(3);
    text(out, ",");
    out.u32le(0);
    out.u16le(side);
    out.u16le(side);
    for (const int value : {0, 8, 255}) out.u8(value);
    return padded(out);
}

std::vector<std::uint8_t> tiff(std::uint32_t side, std::uint32_t bits, std::uint32_t compression) {
    MemoryWriter out;
    text(out, "II*");
    out.u8(0);
    out.u32le(8);
    const std::array<std::array<std::uint32_t, 2>, 9> tags{{{256, side},
                                                            {257, side},
                                                            {258, bits},
                                                            {259, compression},
                                                            {262, 1},
                                                            {273, 130},
                                                            {277, 1},
                                                            {278, side},
                                                            {279, 70}}};
    out.u16le(tags.size());
    for (const auto& [tag, value] : tags) {
        out.u16le(tag);
        out.u16le(4);
        out.u32le(1);
        out.u32le(value);
    }
    return padded(out);
}

std::vector<std::uint8_t> pcx(std::uint32_t side, int bits, int planes) {
    MemoryWriter out;
    for (const int value : {10, 5, 1, bits}) out.u8(value);
    out.u32le(0);
    out.u16le(side - 1);
    out.u16le(side - 1);
    out.zeros(53);
    out.u8(planes);
    out.u16le(bits == 1 ? (side + 7) / 8 : side);
    return padded(out);
}

std::vector<std::uint8_t> dcx(std::uint32_t side) {
    MemoryWriter out;
    out.u32le(987'654'321);
    out.u32le(12);
    out.u32le(0);
    const auto page = pcx(side, 8, 3);
    out.write(std::span{page}.first(kBombSize - 12));
    return padded(out);
}

std::vector<std::uint8_t> tga(std::uint32_t side, int type, int bits) {
    MemoryWriter out;
    for (const int value : {0, 0, type}) out.u8(value);
    out.zeros(9);
    out.u16le(side);
    out.u16le(side);
    out.u8(bits);
    return padded(out);
}

std::vector<std::uint8_t> sun(std::uint32_t side, std::uint32_t depth, std::uint32_t type) {
    MemoryWriter out;
    for (const std::uint32_t value : {0x59A66A95U, side, side, depth, 0U, type, 0U, 0U}) out.u32be(value);
    return padded(out);
}

std::vector<std::uint8_t> icon(std::uint32_t side, std::uint32_t kind, std::uint32_t bits) {
    MemoryWriter out;
    out.u16le(0);
    out.u16le(kind);
    out.u16le(1);
    out.u32le(0);
    out.u16le(1);
    out.u16le(bits);
    out.u32le(kBombSize - 22);
    out.u32le(22);
    bitmap_info_header(out, side, side * 2, bits, 0);
    return padded(out);
}

std::vector<std::uint8_t> msp(std::uint32_t side, std::string_view magic) {
    MemoryWriter out;
    text(out, magic);
    out.u16le(side);
    out.u16le(side);
    return padded(out);
}

// Its size is fixed: the bomb is a wrapper that promises more data than there are.
std::vector<std::uint8_t> macpaint() {
    MemoryWriter out;
    out.u16be(1);
    out.zeros(63);
    text(out, "PNTG");
    out.zeros(14);
    out.u32be(0xFFFFFFFF);
    return padded(out);
}

std::vector<std::uint8_t> gem(std::uint32_t side, std::uint32_t planes) {
    MemoryWriter out;
    for (const std::uint32_t value : {1U, 8U, planes, 2U, 85U, 85U, side, side, 0xFFFFU}) out.u16be(value);
    return padded(out);
}

// A bare segment, or a tile of one.
std::vector<std::uint8_t> ioca(std::uint32_t side, int compression, int bits, bool tile) {
    MemoryWriter out;
    for (const int value : {0x70, 0, 0x91, 1, 0xFF, 0x94, 9, 0, 7, 0xD0, 7, 0xD0}) out.u8(value);
    out.u16be(side);
    out.u16be(side);
    if (tile) {
        for (const int value : {0x8C, 0, 0xB5, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0xB6, 9}) out.u8(value);
        out.u32be(side);
        out.u32be(side);
        out.u8(1);
    }
    for (const int value : {0x95, 2, compression, 1, 0x96, 1, bits, 0xFE, 0x92, 0, 120}) out.u8(value);
    return padded(out);
}

// The same inside of structured fields.
std::vector<std::uint8_t> ioca_document(std::uint32_t side) {
    MemoryWriter out;
    const auto image = ioca(side, 0x82, 1, false);
    for (const int value : {0, 8, 0xD3, 0xA8, 0xFB, 0, 0, 0}) out.u8(value);
    out.u16be(static_cast<std::uint32_t>(image.size() + 8));
    for (const int value : {0xD3, 0xEE, 0xFB, 0, 0, 0}) out.u8(value);
    out.write(image);
    return out.bytes();
}

std::vector<std::uint8_t> psd(std::uint32_t side, std::uint32_t depth, std::uint32_t mode,
                              std::uint32_t packing) {
    MemoryWriter out;
    text(out, "8BPS");
    out.u16be(1);
    out.zeros(6);
    out.u16be(mode == 3 ? 3 : 1);
    out.u32be(side);
    out.u32be(side);
    out.u16be(depth);
    out.u16be(mode);
    out.zeros(12);  // no colours, resources, layers
    out.u16be(packing);
    return padded(out);
}

// A raster without the application's 512 bytes in front. Sides have 15 bits.
std::vector<std::uint8_t> pict(std::uint32_t side, std::uint32_t depth) {
    MemoryWriter out;
    const std::uint32_t length = std::min(side, depth == 32 ? 8'000U : 32'000U);
    const auto rectangle = [&] {
        out.u32be(0);
        out.u16be(length);
        out.u16be(length);
    };
    out.u16be(0);
    rectangle();
    out.u32be(0x001102FF);
    out.u16be(depth == 32 ? 0x9A : 0x98);
    if (depth == 32) out.u32be(0xFF);
    out.u16be(depth == 1 ? length / 8 : (length * depth / 8) | 0x8000);
    rectangle();
    if (depth > 1) {
        out.u16be(0);
        out.u16be(depth == 32 ? 4 : 0);
        out.zeros(12);
        for (const std::uint32_t value : {depth == 32 ? 16U : 0U, depth, depth == 32 ? 3U : 1U, 8U})
            out.u16be(value);
        out.zeros(12);
        if (depth < 32) out.zeros(16);
    }
    rectangle();
    rectangle();
    out.u16be(0);
    return padded(out);
}

// A whole header, and data that hold no row.
std::vector<std::uint8_t> cals(std::uint32_t side) {
    MemoryWriter out;
    const auto record = [&](std::string line) {
        line.resize(128, ' ');
        text(out, line);
    };
    record("srcdocid: NONE");
    record("rtype: 1");
    record("rorient: 000,270");
    record("rpelcnt: " + std::to_string(side) + "," + std::to_string(side));
    for (int i = 4; i < 16; ++i) record("");
    out.zeros(kBombSize);
    return padded(out);
}

// Group 3: an end-of-line code and a run that goes on and on, 2560 pixels at a time.
std::vector<std::uint8_t> endless_run() {
    MemoryWriter out;
    out.u16be(1);
    while (out.position() < static_cast<std::int64_t>(kBombSize)) {
        for (const int byte : {0x01, 0xF0, 0x1F}) out.u8(byte);
    }
    return padded(out);
}

}  // namespace

std::vector<Bomb> bombs(std::uint32_t side) {
    return {
        {"bmp", "24 bits", bmp(side, 24, 0)},
        {"bmp", "8 bits", bmp(side, 8, 0)},
        {"bmp", "RLE8", bmp(side, 8, 1)},
        {"bmp", "1 bit", bmp(side, 1, 0)},
        {"dib", "24 bits", dib(side, 24)},
        {"dib", "1 bit", dib(side, 1)},
        {"png", "RGB", png(side, 8, 2)},
        {"png", "1 bit", png(side, 1, 0)},
        {"jpeg", "grey", jpeg(side)},
        {"gif", "8 bits", gif(side)},
        {"tiff", "8 bits", tiff(side, 8, 1)},
        {"tiff", "LZW", tiff(side, 8, 5)},
        {"tiff", "PackBits", tiff(side, 8, 32'773)},
        {"tiff", "1 bit", tiff(side, 1, 1)},
        {"tiff", "G4", tiff(side, 1, 4)},
        {"pcx", "RGB", pcx(side, 8, 3)},
        {"pcx", "8 bits", pcx(side, 8, 1)},
        {"pcx", "1 bit", pcx(side, 1, 1)},
        {"dcx", "RGB", dcx(side)},
        {"targa", "RGB", tga(side, 2, 24)},
        {"targa", "RLE", tga(side, 10, 24)},
        {"targa", "grey", tga(side, 3, 8)},
        {"sunraster", "24 bits", sun(side, 24, 1)},
        {"sunraster", "RLE", sun(side, 8, 2)},
        {"sunraster", "1 bit", sun(side, 1, 1)},
        {"ioca", "1 bit", ioca(side, 3, 1, false)},
        {"ioca", "RGB", ioca(side, 3, 24, false)},
        {"ioca", "LZW", ioca(side, 13, 24, false)},
        {"ioca", "PackBits", ioca(side, 12, 8, false)},
        {"ioca", "G3", ioca(side, 0x80, 1, false)},
        {"ioca", "G4", ioca(side, 0x82, 1, false)},
        {"ioca", "solid", ioca(side, 0x20, 24, false)},
        {"ioca", "RGB tile", ioca(side, 3, 24, true)},
        {"ioca", "solid tile", ioca(side, 0x20, 24, true)},
        {"ioca", "in a document", ioca_document(side)},
        {"ico", "24 bits", icon(side, 1, 24)},
        {"ico", "1 bit", icon(side, 1, 1)},
        {"cur", "24 bits", icon(side, 2, 24)},
        {"msp", "plain", msp(side, "DanM")},
        {"msp", "packed", msp(side, "LinS")},
        {"macpaint", "wrapped", macpaint()},
        {"gem", "1 plane", gem(side, 1)},
        {"gem", "8 planes", gem(side, 8)},
        {"gem", "24 bits", gem(side, 24)},
        {"psd", "RGB", psd(side, 8, 3, 0)},
        {"psd", "RLE", psd(side, 8, 3, 1)},
        {"psd", "ZIP", psd(side, 16, 3, 3)},
        {"psd", "1 bit", psd(side, 1, 0, 0)},
        {"pict", "24 bits", pict(side, 32)},
        {"pict", "8 bits", pict(side, 8)},
        {"pict", "1 bit", pict(side, 1)},
        {"cals", "no data", cals(side)},
        {"rawfax", "endless run", endless_run()},
        {"winfax", "endless run", endless_run()},
        {"winfax", "TIFF", tiff(side, 1, 4)},
    };
}

}  // namespace quillmark::tests

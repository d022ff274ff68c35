#pragma once

#include <string>

/// PNG files for tests, grey of 8 bits.
namespace PngFile {

/// A chunk with its checksum.
std::string chunk(const std::string& type, const std::string& content);
/// The first chunk.
std::string header(unsigned width, unsigned height);
/// A whole file.
std::string make(unsigned width, unsigned height);

inline const std::string kSignature = std::string("\x89PNG\r\n\x1a\n", 8);

}  // namespace PngFile

#pragma once
// Image and state files.
//
// An image file (--image) is the unit's 2048 bytes as they are. A state file
// (--state) is what the simulator keeps across runs: a header, the image and
// a checksum, so that a file which is not ours, cut short or damaged is
// refused instead of being taken for an image and later overwritten.
//
//   offset 0     "VELKUNIT"
//   offset 8     "ST01", the format
//   offset 12    the image, 2048 bytes
//   offset 2060  CRC-16/XMODEM of bytes 0..2059, low byte first
//
// An image file may also be a state file: a kept state can seed another run.
#include "tools/velkunit/UnitState.h"

#include <cstddef>
#include <string>
#include <vector>

namespace velkunit {

constexpr size_t kStateFileSize = 2062;

// False with the reason in `why`; `out` is then unchanged.
bool ParseImageFile(const unsigned char* data, size_t len, Image& out, std::string& why);
bool ParseStateFile(const unsigned char* data, size_t len, Image& out, std::string& why);
std::vector<unsigned char> StateFileBytes(const Image& image);

enum class ReadResult { ok, missing, failed };
// The whole file, refused (failed) beyond `limit` bytes.
ReadResult ReadWholeFile(const std::string& path, size_t limit, std::vector<unsigned char>& out, std::string& why);

// Replaces the state file atomically: a temporary file in the same folder,
// written and flushed to disk, then renamed over the old one. A reader never
// sees half a file, and a failure leaves the old file as it was.
bool WriteStateFile(const std::string& path, const Image& image, std::string& why);

}  // namespace velkunit

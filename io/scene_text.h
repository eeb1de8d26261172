// A scene file's bytes as text: gzip-compressed files are recognised by
// their first bytes, not their name, and inflated.
#pragma once

#include <cstddef>
#include <string>

namespace vekmesh {

// Inflated text beyond this is not read: a few kilobytes of gzip can claim
// gigabytes.
constexpr size_t kMaxSceneText = size_t(512) << 20;

// The file's text, inflated when it is gzip-compressed (as much as inflates
// cleanly when the stream is cut short or corrupt). False when the file
// cannot be read.
bool readSceneText(const char* path, std::string& text);

// The same for bytes already in memory.
std::string sceneText(const unsigned char* bytes, size_t size);

}  // namespace vekmesh

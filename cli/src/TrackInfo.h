// What --info says about an MP4 file's sound tracks, read with the module's MP4 reader.
#pragma once

#include <string>

// Lines describing each sound track (numbered as --track counts them), or "" when the file does
// not open as MP4.
std::string DescribeSoundTracks(const std::string& path);

// Out-of-line destructor anchors the reader interface's virtual table in this library.
#include "ISOTrackReader.h"

ISOTrackReader::~ISOTrackReader() = default;

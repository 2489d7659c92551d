// Out-of-line destructor anchors the track interface's virtual table in this library.
#include "ISOTrack.h"

ISOTrack::~ISOTrack() = default;

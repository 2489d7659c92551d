// Out-of-line destructor anchors the stream interface's virtual table in this library.
#include "ISOGenericStream.h"

ISOGenericStream::~ISOGenericStream() = default;

// 'mdat' media data: only its position and size are kept; samples are read from the stream.
#pragma once

#include "CISOBox.h"

class CISOMediaData : public CISOBox {
public:
    CISOMediaData() : CISOBox(kBoxMdat) {}
};

// 'sidx' segment index: recorded with its position and size; its references are not needed to
// read samples in order, so its payload is passed over.
#pragma once

#include "CISOBox.h"

class CISOSegmentIndex : public CISOBox {
public:
    CISOSegmentIndex() : CISOBox(kBoxSidx) {}
};

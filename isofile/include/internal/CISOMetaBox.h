// Top-level 'meta' box: kept in the box list; its items carry nothing the sample path needs, so
// its payload is passed over.
#pragma once

#include "CISOBox.h"

class CISOMetaBox : public CISOBox {
public:
    CISOMetaBox() : CISOBox(kBoxMeta) {}
};

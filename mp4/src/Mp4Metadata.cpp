#include "Mp4Metadata.h"

#include "Mp4BoxHeader.h"
#include "Mp4Limits.h"

namespace {

std::string TextAfterVersion(Mp4Reader payload) {
    payload.Skip(4);  // version and flags
    const std::vector<uint8_t> bytes = payload.Rest();
    return std::string(bytes.begin(), bytes.end());
}

Mp4DataValue ParseData(Mp4Reader payload) {
    Mp4DataValue data;
    payload.Skip(2);  // reserved type bytes
    data.typeSetIdentifier = payload.U8();
    data.typeCode = payload.U8();
    data.locale = payload.U32();
    data.value = payload.Rest();
    return data;
}

Mp4FreeformItem ParseFreeform(Mp4Reader payload, int depth) {
    Mp4FreeformItem item;
    Mp4ForEachChild(payload, depth, [&](const Mp4BoxHeader& header, Mp4Reader child, Mp4Reader) {
        switch (header.box) {
            case Mp4Box::Mean:
                if (!item.hasMean) item.mean = TextAfterVersion(child);
                item.hasMean = true;
                break;
            case Mp4Box::Name:
                if (!item.hasName) item.name = TextAfterVersion(child);
                item.hasName = true;
                break;
            case Mp4Box::Data:
                item.data.push_back(ParseData(child));
                break;
            default:
                break;
        }
    });
    return item;
}

}  // namespace

std::vector<Mp4FreeformItem> Mp4ParseIlst(Mp4Source& source, Mp4Span ilst, int depth) {
    std::vector<Mp4FreeformItem> items;
    // An item with a malformed box (a mean, name or data box too short for its fields) is
    // dropped, so it gives no gapless data; a header that cannot be read ends the list with the
    // items before it.
    try {
        Mp4ForEachBox(source, ilst, depth, [&](const Mp4BoxHeader& header, Mp4Span item) {
            if (header.box != Mp4Box::Freeform || items.size() >= kMp4MaxMetadataItems) return;
            try {
                items.push_back(ParseFreeform(Mp4LoadedBox(source, item).Reader(), depth + 1));
            } catch (const Mp4Error&) {
            }
        });
    } catch (const Mp4Error&) {
    }
    return items;
}

bool Mp4ItemMatches(const Mp4FreeformItem& item, const std::string& meaning, const std::string& name) {
    if (!item.hasMean || item.mean != meaning) return false;
    if (name.empty()) return true;
    return item.hasName && item.name == name;
}

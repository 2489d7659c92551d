// C interface: freeform iTunes-style metadata items.
#include <cstdlib>
#include <cstring>
#include <string>

#include "Mp4ApiGuard.h"

namespace {

char* CopyString(const std::string& text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (!copy) throw std::bad_alloc();
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

// The list is zero-filled as it grows, so MP4ItmfItemListFree can release a partial one.
void FillItem(const Mp4FreeformItem& source, MP4ItmfItem& item) {
    item.code = CopyString("----");
    item.mean = CopyString(source.mean);
    if (source.hasName) item.name = CopyString(source.name);
    if (source.data.empty()) return;
    item.dataList.elements = static_cast<MP4ItmfData*>(std::calloc(source.data.size(), sizeof(MP4ItmfData)));
    if (!item.dataList.elements) throw std::bad_alloc();
    item.dataList.size = static_cast<uint32_t>(source.data.size());
    for (size_t i = 0; i < source.data.size(); ++i) {
        const Mp4DataValue& value = source.data[i];
        MP4ItmfData& data = item.dataList.elements[i];
        data.typeSetIdentifier = value.typeSetIdentifier;
        data.typeCode = static_cast<MP4ItmfBasicType>(value.typeCode);
        data.locale = value.locale;
        if (value.value.empty()) continue;
        data.value = static_cast<uint8_t*>(std::malloc(value.value.size()));
        if (!data.value) throw std::bad_alloc();
        std::memcpy(data.value, value.value.data(), value.value.size());
        data.valueSize = static_cast<uint32_t>(value.value.size());
    }
}

}  // namespace

extern "C" {

MP4ItmfItemList* MP4ItmfGetItemsByMeaning(MP4FileHandle hFile, const char* meaning, const char* name) {
    if (!hFile || !meaning) return nullptr;
    MP4ItmfItemList* list = static_cast<MP4ItmfItemList*>(std::calloc(1, sizeof(MP4ItmfItemList)));
    if (!list) return nullptr;
    const bool ok = Mp4Guard(false, [&] {
        const std::vector<Mp4FreeformItem>& items = Mp4FileOf(hFile)->movie.items;
        const std::string wantedMean = meaning;
        const std::string wantedName = name ? name : "";
        size_t matches = 0;
        for (const Mp4FreeformItem& item : items) matches += Mp4ItemMatches(item, wantedMean, wantedName) ? 1 : 0;
        if (matches == 0) return true;
        list->elements = static_cast<MP4ItmfItem*>(std::calloc(matches, sizeof(MP4ItmfItem)));
        if (!list->elements) return false;
        for (const Mp4FreeformItem& item : items) {
            if (!Mp4ItemMatches(item, wantedMean, wantedName)) continue;
            // Counted before filling so a failure part-way frees what was made.
            MP4ItmfItem& out = list->elements[list->size++];
            FillItem(item, out);
        }
        return true;
    });
    if (!ok) {
        MP4ItmfItemListFree(list);
        return nullptr;
    }
    return list;
}

void MP4ItmfItemListFree(MP4ItmfItemList* list) {
    if (!list) return;
    for (uint32_t i = 0; i < list->size; ++i) {
        MP4ItmfItem& item = list->elements[i];
        std::free(item.code);
        std::free(item.mean);
        std::free(item.name);
        for (uint32_t d = 0; d < item.dataList.size; ++d) std::free(item.dataList.elements[d].value);
        std::free(item.dataList.elements);
    }
    std::free(list->elements);
    std::free(list);
}

}  // extern "C"

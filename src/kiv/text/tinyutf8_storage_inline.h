/// The inline members of CStorage that know the table, which its public header does not show.
#ifndef KIV_TEXT_TINYUTF8_STORAGE_INLINE_H
#define KIV_TEXT_TINYUTF8_STORAGE_INLINE_H

#include <kiv/text/tinyutf8_table.h>
#include <kiv/tinyutf8_storage.h>

namespace tiny_utf8_detail
{

inline CLookupTable CStorage::table() const noexcept { return {heapData(), heapCapacity()}; }

inline bool CStorage::isIndexed() const noexcept { return isHeap() && table().isInUse(); }

inline bool CStorage::hasTable() const noexcept
{
    return table().isInUse() || table().count() != 0 || heapSize() == heapLength();
}

} // namespace tiny_utf8_detail

#endif

#include "document/sqlpiNameSpread.h"

#include <limits>
#include <xercesc/util/XMLString.hpp>

bool sqlpiNameSpread::add(const XMLCh* name) {
    bool fits = hashes_.size() < buckets() * 3 / 4 || spread(2 * buckets() + 1);
    const size_t hash = xercesc::XMLString::hash(name, std::numeric_limits<size_t>::max());
    hashes_.addElement(hash);
    return count(hash) && fits;
}

bool sqlpiNameSpread::spread(size_t buckets) {
    counts_.removeAllElements();
    counts_.ensureExtraCapacity(buckets);
    for (size_t i = 0; i < buckets; ++i) counts_.addElement(0);
    bool fits = true;
    for (size_t i = 0; i < hashes_.size(); ++i) fits = count(hashes_.elementAt(i)) && fits;
    return fits;
}

bool sqlpiNameSpread::count(size_t hash) {
    return ++counts_.elementAt(hash % counts_.size()) <= mostInBucket;
}

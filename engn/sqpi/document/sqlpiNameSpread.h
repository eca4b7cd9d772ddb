/* How a document's names spread over the XML library's hash table. Internal. */
#ifndef SQLPI_NAME_SPREAD_H
#define SQLPI_NAME_SPREAD_H

#include <cstddef>
#include <cstdint>
#include <xercesc/util/ValueVectorOf.hpp>

/* The XML library keeps every element name of a document in a table whose hash anybody can foresee: a document of names
 * that all fall into one bucket would take time quadratic in its length. This follows that table, name by name, and
 * tells when a bucket has become longer than chance makes it. */
class sqlpiNameSpread {
public:
    static constexpr uint32_t mostInBucket = 64; /* names that mean no harm stay below 20 */

    explicit sqlpiNameSpread(xercesc::MemoryManager* memory) : hashes_(256, memory), counts_(firstBuckets, memory) {
        spread(firstBuckets);
    }

    /* Notes a name that was not there yet; false when its bucket is full. */
    bool add(const XMLCh* name);
    size_t buckets() const { return counts_.size(); }

private:
    static constexpr size_t firstBuckets = 29;

    bool spread(size_t buckets);
    bool count(size_t hash);

    xercesc::ValueVectorOf<size_t> hashes_;   /* of all names */
    xercesc::ValueVectorOf<uint32_t> counts_; /* names by bucket */
};

#endif

/* The owned texts of configuration records. Internal. */
#ifndef SQLPI_RECORD_TEXTS_H
#define SQLPI_RECORD_TEXTS_H

#include <string_view>

#include "sqlpiPolicyRecords.h"

/* Whether an optional number of a reorg record is set: one whose text begins with '0', or is absent, is not. */
inline bool sqlpiIsNumberSet(const char* text) noexcept {
    return text != nullptr && text[0] != '0';
}

/* Replaces an owned text. False when there is no memory; the field is then null. */
bool sqlpiSetOwnedText(char*& field, std::string_view text) noexcept;

/* Free the owned texts and set them to null. */
void sqlpiReleaseTexts(backupPolicy& policy) noexcept;
void sqlpiReleaseTexts(reorgPolicy& policy) noexcept;

/* A record that begins empty and gives its texts back at the end of its life. */
template <class Record>
struct sqlpiReleasedRecord : Record {
    sqlpiReleasedRecord() noexcept : Record{} {}
    ~sqlpiReleasedRecord() {
        if constexpr (requires(Record & record) { sqlpiReleaseTexts(record); }) sqlpiReleaseTexts(*this);
    }
    sqlpiReleasedRecord(const sqlpiReleasedRecord&) = delete;
    sqlpiReleasedRecord& operator=(const sqlpiReleasedRecord&) = delete;
};

#endif

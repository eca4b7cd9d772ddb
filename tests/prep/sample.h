/* What the prepared sample offers. */
#ifndef TESTS_PREP_SAMPLE_H
#define TESTS_PREP_SAMPLE_H

#include <cstdint>

#include "sqlca.h"

struct sampleRow {
    char name[21];
    int32_t amount;
    bool amountIsNull;
    bool contentIsNull;
    char content[8];
    uint32_t contentLength;
};

int32_t lineOfThisFunction();
int32_t insertRow(const char* key, int32_t number, const char* bytes, uint32_t length, bool isNull, sqlca& ca);
int32_t readRow(const char* key, sampleRow& row, sqlca& ca);
int32_t countAbove(int32_t limit, sqlca& ca);
int32_t runText(const char* text, const char* key, sqlca& ca);
int32_t deleteAll(sqlca& ca);

#endif

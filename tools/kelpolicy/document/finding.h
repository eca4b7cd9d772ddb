/* What is found in a document that is legal and yet not what it seems. */
#ifndef KELPOLICY_FINDING_H
#define KELPOLICY_FINDING_H

#include <string>

#include "console/text.h"

namespace kelpolicy {

struct Finding {
    const char* check;    /* its name, for programs */
    const char* severity; /* "error": the policy does nothing; "warning": not what it says; "note": worth a look */
    const char* window;   /* "online" or "offline"; of other policies null */
    TextPlace place;      /* of the element concerned; line 0: nowhere in particular */
    std::string what;     /* what happens */
    std::string instead;  /* what to write */
};

}  // namespace kelpolicy

#endif

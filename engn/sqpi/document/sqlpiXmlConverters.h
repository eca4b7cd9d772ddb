/* Converters of the encodings that the XML library has from another library. Internal. */
#ifndef SQLPI_XML_CONVERTERS_H
#define SQLPI_XML_CONVERTERS_H

#include <xercesc/framework/MemoryManager.hpp>

struct sqlpiConverterLoan;

/* From now on the XML library gets such converters through here. REQUIRES: it has begun and is not in use. May throw.
 */
void sqlpiLendConverters();

/* While it lives, this thread's parses in `memory` borrow their converters, which end with it. They hold more than
 * memory: the XML library would lose them where an allocation fails, and where a parse ends in the midst. */
class sqlpiConverterLoans {
public:
    explicit sqlpiConverterLoans(xercesc::MemoryManager& memory) noexcept;
    ~sqlpiConverterLoans();
    sqlpiConverterLoans(const sqlpiConverterLoans&) = delete;
    sqlpiConverterLoans& operator=(const sqlpiConverterLoans&) = delete;

private:
    friend class sqlpiLendingService;

    xercesc::MemoryManager& memory_;
    sqlpiConverterLoans* around_; /* that of the same thread */
    sqlpiConverterLoan* last_ = nullptr;
};

#endif

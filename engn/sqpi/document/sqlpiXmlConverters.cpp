#include "document/sqlpiXmlConverters.h"

#include <cstddef>
#include <new>
#include <string_view>
#include <utility>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>

namespace {

constinit thread_local sqlpiConverterLoans* current = nullptr;

/* Memory that is there before a converter is opened, so that nothing fails behind it. */
class ReadyMemory : public xercesc::MemoryManager {
public:
    ReadyMemory(size_t size, xercesc::MemoryManager& source)
        : next_(static_cast<std::byte*>(source.allocate(size))), left_(size) {}

    void* allocate(XMLSize_t size) override {
        constexpr size_t granule = alignof(std::max_align_t);
        const size_t whole = (size + granule - 1) / granule * granule;
        if (whole > left_) throw xercesc::OutOfMemoryException();
        left_ -= whole;
        return std::exchange(next_, next_ + whole);
    }
    void deallocate(void* /*block*/) override {}
    xercesc::MemoryManager* getExceptionMemoryManager() override { return xercesc::XMLPlatformUtils::fgMemoryManager; }

private:
    std::byte* next_;
    size_t left_;
};

}  // namespace

/* One converter that is open. */
struct sqlpiConverterLoan {
    /* A converter keeps its name and a number for each character of a block. */
    sqlpiConverterLoan(const XMLCh* name, size_t blockSize, xercesc::MemoryManager& memory)
        : ready(4096 + sizeof(XMLCh) * std::u16string_view(name).size() + 2 * sizeof(XMLSize_t) * blockSize, memory) {}

    ReadyMemory ready;
    xercesc::XMLTranscoder* converter = nullptr;
    sqlpiConverterLoan* previous = nullptr;
};

namespace {

/* What the XML library gets: it ends nothing but itself. */
class LentConverter : public xercesc::XMLTranscoder {
public:
    LentConverter(const XMLCh* name, XMLSize_t blockSize, xercesc::MemoryManager& memory, XMLTranscoder& real)
        : XMLTranscoder(name, blockSize, &memory), real_(real) {}

    XMLSize_t transcodeFrom(const XMLByte* const bytes, const XMLSize_t byteCount, XMLCh* const characters,
                            const XMLSize_t mostCharacters, XMLSize_t& bytesEaten,
                            unsigned char* const sizes) override {
        return real_.transcodeFrom(bytes, byteCount, characters, mostCharacters, bytesEaten, sizes);
    }
    XMLSize_t transcodeTo(const XMLCh* const characters, const XMLSize_t count, XMLByte* const bytes,
                          const XMLSize_t mostBytes, XMLSize_t& charactersEaten, const UnRepOpts options) override {
        return real_.transcodeTo(characters, count, bytes, mostBytes, charactersEaten, options);
    }
    bool canTranscodeTo(const unsigned int character) override { return real_.canTranscodeTo(character); }

private:
    XMLTranscoder& real_;
};

}  // namespace

/* The XML library's own service; what parses borrow is noted. */
class sqlpiLendingService : public xercesc::XMLTransService {
public:
    explicit sqlpiLendingService(xercesc::XMLTransService& real) noexcept : real_(real) {}

    int compareIString(const XMLCh* const one, const XMLCh* const other) override {
        return real_.compareIString(one, other);
    }
    int compareNIString(const XMLCh* const one, const XMLCh* const other, const XMLSize_t most) override {
        return real_.compareNIString(one, other, most);
    }
    const XMLCh* getId() const override { return real_.getId(); }
    xercesc::XMLLCPTranscoder* makeNewLCPTranscoder(xercesc::MemoryManager* memory) override {
        return real_.makeNewLCPTranscoder(memory);
    }
    bool supportsSrcOfs() const override { return real_.supportsSrcOfs(); }
    void upperCase(XMLCh* const text) override { real_.upperCase(text); }
    void lowerCase(XMLCh* const text) override { real_.lowerCase(text); }

protected:
    xercesc::XMLTranscoder* makeNewXMLTranscoder(const XMLCh* const name, Codes& outcome, const XMLSize_t blockSize,
                                                 xercesc::MemoryManager* const memory) override {
        constexpr auto make = &Protected::makeNewXMLTranscoder;
        if (current == nullptr || memory != &current->memory_) return (real_.*make)(name, outcome, blockSize, memory);
        auto* loan = ::new (memory->allocate(sizeof(sqlpiConverterLoan))) sqlpiConverterLoan(name, blockSize, *memory);
        loan->converter = (real_.*make)(name, outcome, blockSize, &loan->ready);
        if (loan->converter == nullptr) return nullptr;
        loan->previous = std::exchange(current->last_, loan);
        return new (memory) LentConverter(name, blockSize, *memory, *loan->converter);
    }

private:
    /* Names a member that the XML library protects. */
    struct Protected : XMLTransService {
        using XMLTransService::makeNewXMLTranscoder;
    };

    xercesc::XMLTransService& real_;
};

void sqlpiLendConverters() {
    using xercesc::XMLPlatformUtils;
    XMLPlatformUtils::fgTransService = new sqlpiLendingService(*XMLPlatformUtils::fgTransService);
}

sqlpiConverterLoans::sqlpiConverterLoans(xercesc::MemoryManager& memory) noexcept
    : memory_(memory), around_(std::exchange(current, this)) {}

sqlpiConverterLoans::~sqlpiConverterLoans() {
    current = around_;
    for (const sqlpiConverterLoan* loan = last_; loan != nullptr; loan = loan->previous) delete loan->converter;
}

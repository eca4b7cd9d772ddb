#include "document/sqlpiParserMemory.h"
#include "base/sqlpiMemory.h"

#include <algorithm>
#include <new>
#include <utility>
#include <xercesc/util/BinMemInputStream.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

constexpr const char* tag = "sqlpiPolicyCommonParser";

/* Hands a document out in pieces, so that the watcher comes to speak in time. */
class WatchedStream : public xercesc::BinMemInputStream {
public:
    WatchedStream(std::string_view document, sqlpiReadWatcher* watcher, xercesc::MemoryManager* memory)
        : BinMemInputStream(reinterpret_cast<const XMLByte*>(document.data()), document.size(), BufOpt_Reference,
                            memory),
          watcher_(watcher) {}

    XMLSize_t readBytes(XMLByte* const toFill, const XMLSize_t mostBytes) override {
        if (watcher_ != nullptr) watcher_->beforeRead(last_);
        last_ = BinMemInputStream::readBytes(toFill, std::min<XMLSize_t>(mostBytes, sqlpi_document_source::piece));
        return last_;
    }

private:
    sqlpiReadWatcher* watcher_;
    XMLSize_t last_ = 0;
};

}  // namespace

void* sqlpi_alloc_mem_debug(SQLO_MEM_POOL* pool, unsigned long size) noexcept {
    return sqlpiTakeMemory(pool, size, tag, __LINE__);
}

void sqlpi_free_mem_debug(void* block) noexcept {
    sqlofmblkEx(block, tag, __LINE__);
}

void* sqlpi_mem_manager::allocate(XMLSize_t size) {
    return sqlpi_alloc_mem_debug(pool_, size);
}

void sqlpi_mem_manager::deallocate(void* block) {
    sqlpi_free_mem_debug(block);
}

/* An exception may outlive the manager. */
xercesc::MemoryManager* sqlpi_mem_manager::getExceptionMemoryManager() {
    return xercesc::XMLPlatformUtils::fgMemoryManager;
}

xercesc::MemoryManager* sqlpi_call_memory::getExceptionMemoryManager() {
    return xercesc::XMLPlatformUtils::fgMemoryManager;
}

sqlpi_call_memory::~sqlpi_call_memory() {
    while (pieces_ != nullptr) giveBack(pieces_);
}

void* sqlpi_call_memory::allocate(XMLSize_t size) {
    if (reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) < lowestStack_) {
        passedStackBound_ = true;
        fail();
    }
    if (size > largestSmall) {
        if (size > bound_) fail();
        return ::new (take(sizeof(Header) + size) + 1) Header{size} + 1;
    }
    const size_t granules = size == 0 ? 1 : (size + granule - 1) / granule;
    FreeBlock*& returned = returned_[granules];
    if (returned != nullptr) {
        FreeBlock* block = returned;
        returned = block->next;
        return block;
    }
    const size_t wanted = sizeof(Header) + granules * granule;
    if (wanted > freeSize_) {
        const size_t chunk = chunk_ > wanted + sizeof(Piece) ? chunk_ - sizeof(Piece) : wanted;
        free_ = reinterpret_cast<char*>(take(chunk) + 1);
        freeSize_ = chunk;
    }
    Header* header = ::new (free_) Header{granules * granule};
    free_ += wanted;
    freeSize_ -= wanted;
    return header + 1;
}

void sqlpi_call_memory::deallocate(void* block) {
    if (block == nullptr || hasFailed_) return;
    Header* header = static_cast<Header*>(block) - 1;
    if (header->size > largestSmall) {
        giveBack(reinterpret_cast<Piece*>(header) - 1);
        return;
    }
    FreeBlock*& returned = returned_[header->size / granule];
    returned = ::new (block) FreeBlock{returned};
}

void sqlpi_call_memory::fail() {
    hasFailed_ = true;
    throw xercesc::OutOfMemoryException();
}

sqlpi_call_memory::Piece* sqlpi_call_memory::take(size_t size) {
    const size_t whole = sizeof(Piece) + size;
    if (whole > bound_ - taken_) fail();
    const bool hadFailed = std::exchange(hasFailed_, true);  // the source may throw itself
    void* memory = source_.allocate(whole);
    if (memory == nullptr) fail();
    hasFailed_ = hadFailed;
    taken_ += whole;
    pieces_ = ::new (memory) Piece{nullptr, pieces_, whole};
    if (pieces_->next != nullptr) pieces_->next->previous = pieces_;
    return pieces_;
}

void sqlpi_call_memory::giveBack(Piece* piece) noexcept {
    (piece->previous == nullptr ? pieces_ : piece->previous->next) = piece->next;
    if (piece->next != nullptr) piece->next->previous = piece->previous;
    taken_ -= piece->size;
    source_.deallocate(piece);
}

sqlpi_document_source::sqlpi_document_source(std::string_view document, sqlpi_call_memory& memory,
                                             const XMLCh* systemId, sqlpiReadWatcher* watcher)
    : MemBufInputSource(reinterpret_cast<const XMLByte*>(document.data()), document.size(), systemId, false),
      document_(document),
      memory_(memory),
      watcher_(watcher) {}

xercesc::BinInputStream* sqlpi_document_source::makeStream() const {
    return new (&memory_) WatchedStream(document_, watcher_, &memory_);
}

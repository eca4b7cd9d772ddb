/* The XML library's own memory, failing at one call or from it on. */
#ifndef TESTS_UNIT_FAILING_GLOBAL_MEMORY_H
#define TESTS_UNIT_FAILING_GLOBAL_MEMORY_H

#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "faulty.h"

/* Stands in for the XML library's memory manager while it lives. */
class FailingGlobalMemory : public xercesc::MemoryManager {
public:
    explicit FailingGlobalMemory(int call, faulty::Duration duration = faulty::Duration::once)
        : left_(call), duration_(duration) {
        xercesc::XMLPlatformUtils::fgMemoryManager = this;
    }
    ~FailingGlobalMemory() override { xercesc::XMLPlatformUtils::fgMemoryManager = real_; }
    void* allocate(XMLSize_t size) override {
        --left_;
        if (left_ == 0 || (left_ < 0 && duration_ == faulty::Duration::forEver)) {
            hasFailed = true;
            throw xercesc::OutOfMemoryException();
        }
        return real_->allocate(size);
    }
    void deallocate(void* block) override { real_->deallocate(block); }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return real_; }

    bool hasFailed = false;

private:
    xercesc::MemoryManager* real_ = xercesc::XMLPlatformUtils::fgMemoryManager;
    int left_;
    faulty::Duration duration_;
};

#endif

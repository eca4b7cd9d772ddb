/* Owning types: what the library takes is given back at the end of the scope. Internal. */
#ifndef SQLPI_OWN_H
#define SQLPI_OWN_H

#include <memory>
#include <new>
#include <utility>

#include "base/sqlpiMemory.h"

/* A block of the default pool. */
struct sqlpiFreeBlock {
    const char* tag;
    void operator()(char* block) const noexcept { sqlofmblkEx(block, tag, 0); }
};
using sqlpiBlock = std::unique_ptr<char, sqlpiFreeBlock>;

/* A block of `size` bytes, or null when there is no memory. `tag` names the source file. */
inline sqlpiBlock sqlpiTakeBlock(size_t size, const char* tag, uint32_t line = __builtin_LINE()) noexcept {
    return {static_cast<char*>(sqlpiTakeMemory(nullptr, size, tag, line)), sqlpiFreeBlock{tag}};
}

/* An object from the engine's plain allocation; null when there is no memory. An exception of the constructor passes
 * through after the memory has been given back. */
template <class Object>
struct sqlpiDestroyPlain {
    void operator()(Object* object) const noexcept {
        object->~Object();
        _ossMemFree(object);
    }
};
template <class Object>
using sqlpiPlain = std::unique_ptr<Object, sqlpiDestroyPlain<Object>>;

template <class Object, class... Arguments>
sqlpiPlain<Object> sqlpiMakePlain(Arguments&&... arguments) {
    struct FreeMemory {
        void operator()(void* memory) const noexcept { _ossMemFree(memory); }
    };
    std::unique_ptr<void, FreeMemory> memory(sqlpiTakePlainMemory(sizeof(Object)));
    if (memory == nullptr) return nullptr;
    auto* object = ::new (memory.get()) Object(std::forward<Arguments>(arguments)...);
    static_cast<void>(memory.release());  // the object's from here on
    return sqlpiPlain<Object>(object);
}

#endif

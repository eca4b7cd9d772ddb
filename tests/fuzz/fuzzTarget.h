/* What the fuzz targets share. A target takes any bytes and ends the process when something that must hold does not. */
#ifndef TESTS_FUZZ_FUZZ_TARGET_H
#define TESTS_FUZZ_FUZZ_TARGET_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include "instance.h"
#include "memoryCounts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

inline void demand(bool holds, const char* what, std::string_view detail = {}) {
    if (holds) return;
    std::cerr << "This does not hold: " << what << '\n' << detail << std::endl;
    std::abort();
}

/* Demands that all blocks of the engine's memory have come back at the end of the scope. */
class Balance {
public:
    Balance() = default;
    ~Balance() {
        if (kelhost::memoryTotal().blocks != before_)
            demand(false, "no block is left over", kelhost::describeMemoryInUse());
    }
    Balance(const Balance&) = delete;
    Balance& operator=(const Balance&) = delete;

private:
    int64_t before_ = kelhost::memoryTotal().blocks;
};

/* Draws from the input, and zeros behind its end. */
class Bytes {
public:
    Bytes(const uint8_t* data, size_t size) : left_(reinterpret_cast<const char*>(data), size) {}

    template <class Value>
    Value take() {
        Value value = 0;
        std::memcpy(&value, left_.data(), std::min(sizeof value, left_.size()));
        left_.remove_prefix(std::min(sizeof value, left_.size()));
        return value;
    }
    bool isOdd() { return (take<uint8_t>() & 1U) != 0; }
    uint8_t below(int limit) { return static_cast<uint8_t>(take<uint8_t>() % limit); }
    std::string line() {
        const std::string text(left_.substr(0, left_.find('\n')));
        left_.remove_prefix(std::min(text.size() + 1, left_.size()));
        return text;
    }
    std::string rest() const { return std::string(left_); }

private:
    std::string_view left_;
};

/* An instance of the process's own, bound to the thread; removed at the end. */
class BoundInstance {
public:
    BoundInstance() : instance_(kelhost::Instance::create(makeDirectory())) {}
    ~BoundInstance() { std::filesystem::remove_all(instance_.path()); }
    BoundInstance(const BoundInstance&) = delete;
    BoundInstance& operator=(const BoundInstance&) = delete;

    const kelhost::Instance& get() const { return instance_; }

private:
    static std::string makeDirectory() {
        std::string path = std::filesystem::temp_directory_path() / "kelpolicyXXXXXX";
        demand(mkdtemp(path.data()) != nullptr, "a directory can be made", path);
        return path;
    }

    kelhost::Instance instance_;
    kelhost::BoundThreadScope scope_{{&instance_, nullptr}};
};

}  // namespace fuzz

#endif

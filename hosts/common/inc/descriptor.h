/* An open file of the operating system. */
#ifndef KELHOST_DESCRIPTOR_H
#define KELHOST_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace kelhost {

/* Closes the file at the end. */
class Descriptor {
public:
    Descriptor() noexcept = default;
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    bool isOpen() const noexcept { return number_ >= 0; }
    int number() const noexcept { return number_; } /* below 0: none */
    int release() noexcept { return std::exchange(number_, -1); }

private:
    int number_ = -1;
};

}  // namespace kelhost

#endif

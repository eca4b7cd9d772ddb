/* The attribute list of a start tag, made by hand. */
#ifndef TESTS_UNIT_ATTRIBUTES_H
#define TESTS_UNIT_ATTRIBUTES_H

#include <string>
#include <utility>
#include <vector>
#include <xercesc/sax/AttributeList.hpp>

class Attributes : public xercesc::AttributeList {
public:
    explicit Attributes(std::vector<std::pair<std::u16string, std::u16string>> pairs) : pairs_(std::move(pairs)) {}
    XMLSize_t getLength() const override { return pairs_.size(); }
    const XMLCh* getName(const XMLSize_t index) const override { return pairs_[index].first.c_str(); }
    const XMLCh* getValue(const XMLSize_t index) const override { return pairs_[index].second.c_str(); }
    const XMLCh* getType(const XMLSize_t) const override { return u"CDATA"; }
    const XMLCh* getType(const XMLCh* const) const override { return u"CDATA"; }
    const XMLCh* getValue(const XMLCh* const) const override { return nullptr; }
    const XMLCh* getValue(const char* const) const override { return nullptr; }

private:
    std::vector<std::pair<std::u16string, std::u16string>> pairs_;
};

#endif

/* A document read once more, for what the engine makes nothing of: by the same XML library and within the same bounds,
 * with neither validation nor an external part. */
#ifndef KELPOLICY_BOUNDED_READER_H
#define KELPOLICY_BOUNDED_READER_H

#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "document/sqlpiXmlBounds.h"

namespace kelpolicy {

/* Throws what the XML library throws at a document that is not well formed or passes a bound. */
class BoundedReader : public sqlpiBoundedParser<xercesc::SAXParser> {
public:
    /* The document must outlive it. */
    explicit BoundedReader(const std::string& document) : sqlpiBoundedParser(document.size()), document_(document) {
        useScanner(xercesc::XMLUni::fgDGXMLScanner);  // the default one also remembers children, for schemas
        setValidationScheme(xercesc::SAXParser::Val_Never);
        setLoadExternalDTD(false);
        setCalculateSrcOfs(true);
    }

    void read(xercesc::HandlerBase& handler) {
        setDocumentHandler(&handler);
        setErrorHandler(&handler);
        setDTDHandler(&handler);  // without one, the parser is told of no declaration
        parse(xercesc::MemBufInputSource(reinterpret_cast<const XMLByte*>(document_.data()), document_.size(),
                                         "document", false));
    }

private:
    const std::string& document_;
};

}  // namespace kelpolicy

#endif

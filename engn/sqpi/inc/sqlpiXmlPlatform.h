/* The XML library as shared property of the process. Internal. */
#ifndef SQLPI_XML_PLATFORM_H
#define SQLPI_XML_PLATFORM_H

/* Takes one reference to the XML platform on the first call and never gives it back: the platform's own counter is not
 * safe under threads, and what it builds lazily is built by one warm-up parse inside the first call. Any thread may
 * call. Returns false when the platform could not be initialised, and then for as long as the process lives: the XML
 * library cannot begin a second time. */
bool sqlpiHoldXmlPlatform() noexcept;

/* One more reference for a scope. Any number of threads; throws when it cannot be taken.
 * REQUIRES: sqlpiHoldXmlPlatform has returned true. */
class sqlpiXmlPlatformUse {
public:
    sqlpiXmlPlatformUse();
    ~sqlpiXmlPlatformUse();
    sqlpiXmlPlatformUse(const sqlpiXmlPlatformUse&) = delete;
    sqlpiXmlPlatformUse& operator=(const sqlpiXmlPlatformUse&) = delete;
};

#endif

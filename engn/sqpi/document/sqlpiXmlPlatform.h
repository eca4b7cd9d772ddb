/* The XML library as shared property of the process. Internal. */
#ifndef SQLPI_XML_PLATFORM_H
#define SQLPI_XML_PLATFORM_H

/* Takes references to the XML platform on the first call and never gives them back: the platform's own counter is not
 * safe under threads, so nothing here touches it again, and whoever else counts cannot end what we use. What the
 * platform builds lazily is built by one warm-up parse inside the first call. Any thread may call, of any number of
 * copies of this library; a fork waits for a first call, and for whoever holds a lock of the XML library, so that the
 * child finds all of them free. Returns false when the platform could not be initialised, and then for as long as the
 * process lives: the XML library cannot begin a second time. */
bool sqlpiHoldXmlPlatform() noexcept;

#endif

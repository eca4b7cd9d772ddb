/* The schemas of configuration documents. Only the root element is global, so that nothing else can be a document. */
#include "sqlpiPolicySchemas.h"

#include <string>

#include "sqlpiPolicyRecords.h"

#define SCHEMA_BEGIN                                                                                    \
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"                                                      \
    "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" xmlns=\"" SQLPI_CONFIG_NAMESPACE          \
    "\"\n"                                                                                              \
    " targetNamespace=\"" SQLPI_CONFIG_NAMESPACE                                                        \
    "\" elementFormDefault=\"qualified\"\n"                                                             \
    " attributeFormDefault=\"unqualified\" version=\"1.0\">\n"                                          \
    "<xs:annotation>\n"                                                                                 \
    " <xs:documentation>Version 1.0</xs:documentation>\n"                                               \
    " <xs:documentation>DO NOT EDIT: the engine reads the text it was built with.</xs:documentation>\n" \
    "</xs:annotation>\n"
#define SCHEMA_END "</xs:schema>\n"

// As large as it was at first, whatever stands in it: a program may have been linked with a copy of that size.
constexpr char SQLPI_MWP_V1[3773] = SCHEMA_BEGIN R"(<xs:element name="KELMaintenanceWindows">
 <xs:complexType>
  <xs:group ref="PoilcyWindowGroup"/>
 </xs:complexType>
</xs:element>
<xs:group name="PoilcyWindowGroup">
 <xs:sequence>
  <xs:element name="OnlineWindow" type="WindowType"/>
  <xs:element name="OfflineWindow" type="WindowType" minOccurs="0"/>
 </xs:sequence>
</xs:group>
<xs:complexType name="WindowType">
 <xs:sequence>
  <xs:element name="DaysOfWeek">
   <xs:simpleType><xs:union memberTypes="AllType DayNameList"/></xs:simpleType>
  </xs:element>
  <xs:element name="DaysOfMonth">
   <xs:simpleType><xs:union memberTypes="AllType DayNumberList"/></xs:simpleType>
  </xs:element>
  <xs:element name="MonthsOfYear">
   <xs:simpleType><xs:union memberTypes="AllType MonthNameList"/></xs:simpleType>
  </xs:element>
 </xs:sequence>
 <xs:attribute name="Occurrence" default="Outside">
  <xs:annotation>
   <xs:documentation>During: jobs run inside the window. Outside: at any time outside it.</xs:documentation>
  </xs:annotation>
  <xs:simpleType>
   <xs:restriction base="xs:string">
    <xs:enumeration value="During"/>
    <xs:enumeration value="Outside"/>
   </xs:restriction>
  </xs:simpleType>
 </xs:attribute>
 <xs:attribute name="startTime" type="xs:time" default="00:00:00"/>
 <xs:attribute name="duration" default="24">
  <xs:annotation><xs:documentation>In hours.</xs:documentation></xs:annotation>
  <xs:simpleType>
   <xs:restriction base="xs:positiveInteger"><xs:maxInclusive value="24"/></xs:restriction>
  </xs:simpleType>
 </xs:attribute>
</xs:complexType>
<xs:simpleType name="AllType">
 <xs:restriction base="xs:string"><xs:enumeration value="All"/></xs:restriction>
</xs:simpleType>
<xs:simpleType name="DayNameList">
 <xs:list>
  <xs:simpleType>
   <xs:restriction base="xs:string">
    <xs:enumeration value="Mon"/>
    <xs:enumeration value="Tue"/>
    <xs:enumeration value="Wed"/>
    <xs:enumeration value="Thu"/>
    <xs:enumeration value="Fri"/>
    <xs:enumeration value="Sat"/>
    <xs:enumeration value="Sun"/>
   </xs:restriction>
  </xs:simpleType>
 </xs:list>
</xs:simpleType>
<xs:simpleType name="MonthNameList">
 <xs:list>
  <xs:simpleType>
   <xs:restriction base="xs:string">
    <xs:enumeration value="Jan"/>
    <xs:enumeration value="Feb"/>
    <xs:enumeration value="Mar"/>
    <xs:enumeration value="Apr"/>
    <xs:enumeration value="May"/>
    <xs:enumeration value="Jun"/>
    <xs:enumeration value="Jul"/>
    <xs:enumeration value="Aug"/>
    <xs:enumeration value="Sep"/>
    <xs:enumeration value="Oct"/>
    <xs:enumeration value="Nov"/>
    <xs:enumeration value="Dec"/>
   </xs:restriction>
  </xs:simpleType>
 </xs:list>
</xs:simpleType>
<xs:simpleType name="DayNumberList">
 <xs:annotation>
  <xs:documentation>1 to 31: days of the month. -1 to -31: counted back from its end, -1 is the last.</xs:documentation>
 </xs:annotation>
 <xs:list>
  <xs:simpleType>
   <xs:restriction base="xs:decimal">
    <xs:minInclusive value="-31"/>
    <xs:maxInclusive value="31"/>
    <xs:pattern value="[+\-0]*[1-9][0-9]*"/>
   </xs:restriction>
  </xs:simpleType>
 </xs:list>
</xs:simpleType>
)" SCHEMA_END;

const char SQLPI_AUTO_BACKUP_V1[] = SCHEMA_BEGIN R"(<xs:element name="KELAutoBackupPolicy">
 <xs:complexType>
  <xs:sequence>
   <xs:element name="BackupOptions">
    <xs:complexType>
     <xs:sequence>
      <xs:element name="BackupTarget" type="TargetType"/>
     </xs:sequence>
     <xs:attribute name="mode" default="Online">
      <xs:annotation>
       <xs:documentation>An online backup runs in the online window, an offline backup in the offline one.</xs:documentation>
      </xs:annotation>
      <xs:simpleType>
       <xs:restriction base="xs:string">
        <xs:enumeration value="Online"/>
        <xs:enumeration value="Offline"/>
       </xs:restriction>
      </xs:simpleType>
     </xs:attribute>
    </xs:complexType>
   </xs:element>
   <xs:element name="BackupCriteria">
    <xs:annotation>
     <xs:documentation>A backup is due when any of these is met, and when there has never been one.</xs:documentation>
    </xs:annotation>
    <xs:complexType>
     <xs:attribute name="numberOfFullBackups" type="xs:positiveInteger" use="required"/>
     <xs:attribute name="timeSinceLastBackup" type="xs:positiveInteger" use="required"/>
     <xs:attribute name="logSpaceConsumedSinceLastBackup" type="xs:positiveInteger" use="required"/>
    </xs:complexType>
   </xs:element>
  </xs:sequence>
 </xs:complexType>
</xs:element>
<xs:complexType name="TargetType">
 <xs:choice>
  <xs:element name="DiskBackupTarget">
   <xs:annotation>
    <xs:documentation>An empty path means the default backup location.</xs:documentation>
   </xs:annotation>
   <xs:complexType>
    <xs:sequence><xs:element name="PathName" type="xs:string"/></xs:sequence>
   </xs:complexType>
  </xs:element>
  <xs:element name="TapeBackupTarget">
   <xs:complexType>
    <xs:sequence><xs:element name="PathName" type="NameType"/></xs:sequence>
   </xs:complexType>
  </xs:element>
  <xs:element name="VLTBackupTarget" type="SessionsType"/>
  <xs:element name="XBSABackupTarget" type="SessionsType"/>
  <xs:element name="VendorLibBackupTarget">
   <xs:complexType>
    <xs:sequence>
     <xs:element name="LibFilename" type="NameType"/>
     <xs:element name="LibOptions" type="xs:string"/>
    </xs:sequence>
   </xs:complexType>
  </xs:element>
 </xs:choice>
</xs:complexType>
<xs:complexType name="SessionsType">
 <xs:attribute name="numberOfSessions" use="required">
  <xs:simpleType>
   <xs:restriction base="xs:positiveInteger"><xs:maxInclusive value="999"/></xs:restriction>
  </xs:simpleType>
 </xs:attribute>
</xs:complexType>
<xs:simpleType name="NameType">
 <xs:restriction base="xs:string"><xs:minLength value="1"/></xs:restriction>
</xs:simpleType>
)" SCHEMA_END;

const char SQLPI_AUTO_REORG_V1[] = SCHEMA_BEGIN R"(<xs:element name="KELAutoReorgPolicy">
 <xs:complexType>
  <xs:sequence>
   <xs:element name="ReorgOptions">
    <xs:complexType>
     <xs:attribute name="useSystemTempTableSpace" default="false">
      <xs:simpleType>
       <xs:restriction base="xs:string">
        <xs:enumeration value="true"/>
        <xs:enumeration value="false"/>
       </xs:restriction>
      </xs:simpleType>
     </xs:attribute>
     <xs:attribute name="dictionaryOption" default="Keep">
      <xs:simpleType>
       <xs:restriction base="xs:string">
        <xs:enumeration value="Keep"/>
        <xs:enumeration value="Rebuild"/>
       </xs:restriction>
      </xs:simpleType>
     </xs:attribute>
     <xs:attribute name="indexReorgMode" default="Offline">
      <xs:simpleType>
       <xs:restriction base="xs:string">
        <xs:enumeration value="Online"/>
        <xs:enumeration value="Offline"/>
       </xs:restriction>
      </xs:simpleType>
     </xs:attribute>
     <xs:attribute name="reclaimExtentsSizeForMDCTables" type="xs:positiveInteger"/>
     <xs:attribute name="numInxPseudoEmptyPagesForVolatileTables" type="xs:positiveInteger"/>
    </xs:complexType>
   </xs:element>
   <xs:element name="ReorgTableScope">
    <xs:complexType>
     <xs:sequence>
      <xs:element name="FilterClause">
       <xs:annotation>
        <xs:documentation>A predicate that selects tables; empty selects all.</xs:documentation>
       </xs:annotation>
       <xs:complexType mixed="true"/>
      </xs:element>
     </xs:sequence>
     <xs:attribute name="maxOfflineReorgTableSize" type="xs:nonNegativeInteger">
      <xs:annotation><xs:documentation>In kilobytes.</xs:documentation></xs:annotation>
     </xs:attribute>
    </xs:complexType>
   </xs:element>
  </xs:sequence>
 </xs:complexType>
</xs:element>
)" SCHEMA_END;

const char SQLPI_AUTO_RUNSTATS_V1[] = SCHEMA_BEGIN R"(<xs:element name="KELAutoRunstatsPolicy">
 <xs:complexType>
  <xs:sequence>
   <xs:element name="RunstatsTableScope">
    <xs:complexType>
     <xs:sequence>
      <xs:element name="FilterCondition">
       <xs:annotation>
        <xs:documentation>A condition on SYSCAT.TABLES; empty selects all tables.</xs:documentation>
       </xs:annotation>
       <xs:complexType mixed="true"/>
      </xs:element>
     </xs:sequence>
    </xs:complexType>
   </xs:element>
  </xs:sequence>
 </xs:complexType>
</xs:element>
)" SCHEMA_END;

const size_t SQLPI_MWP_V1_LENGTH = std::char_traits<char>::length(SQLPI_MWP_V1);
const size_t SQLPI_AUTO_BACKUP_V1_LENGTH = sizeof SQLPI_AUTO_BACKUP_V1 - 1;
const size_t SQLPI_AUTO_REORG_V1_LENGTH = sizeof SQLPI_AUTO_REORG_V1 - 1;
const size_t SQLPI_AUTO_RUNSTATS_V1_LENGTH = sizeof SQLPI_AUTO_RUNSTATS_V1 - 1;

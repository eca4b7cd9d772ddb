# What the tests of maintenance windows share: questions drawn at random, and two other ways to answer them.
add_library(maintWinSupport STATIC maintWinCases.cpp maintWinMinutes.cpp maintWinReference.cpp)
target_include_directories(maintWinSupport PUBLIC "${PROJECT_SOURCE_DIR}/tests" "${PROJECT_SOURCE_DIR}/engn/sqpi/inc"
  "${PROJECT_SOURCE_DIR}/engn/sqpi")
target_link_libraries(maintWinSupport PUBLIC kelpolicy_plat PRIVATE kelpolicy_options)

foreach(test maintWinTest maintWinClockChangeTest maintWinCostTest maintWinDaysTest maintWinMinutesTest maintWinRandomTest
    maintWinRoutinesTest maintWinThreadsTest maintWinZoneReadsTest maintWinZonesTest)
  target_link_libraries(${test} PRIVATE maintWinSupport)
endforeach()

target_link_options(maintWinZoneReadsTest PRIVATE LINKER:--wrap=tzset,--wrap=mktime,--wrap=localtime)
target_link_options(maintWinCostTest PRIVATE LINKER:--wrap=localtime_r)

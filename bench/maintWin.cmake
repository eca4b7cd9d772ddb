# The window search, beside a walk over the days (the reference of the tests) and beside libical's recurrences.
find_package(PkgConfig REQUIRED)
pkg_check_modules(LIBICAL REQUIRED IMPORTED_TARGET libical)

set(tests "${PROJECT_SOURCE_DIR}/tests")
add_executable(maintWinBench maintWinBench.cpp)
add_executable(maintWinRepeat maintWinRepeat.cpp)
add_executable(maintWinWorst maintWinWorst.cpp)
foreach(target maintWinBench maintWinRepeat maintWinWorst)
  target_sources(${target} PRIVATE "${tests}/unit/maintWinCases.cpp" "${tests}/unit/maintWinReference.cpp")
  target_include_directories(${target} PRIVATE "${tests}")
  target_link_libraries(${target} PRIVATE kelpolicy_objects kelhost_databases kelhost_common kelpolicy_options
    PkgConfig::LIBICAL)
endforeach()
target_link_libraries(maintWinBench PRIVATE benchmark::benchmark benchmark::benchmark_main)

# One set of compiler options for everything that is ours. The presets, but the quickstart's, make warnings errors.
add_library(kelpolicy_options INTERFACE)
target_compile_options(kelpolicy_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-qual -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
  -fvisibility=hidden -fstack-protector-strong)
target_compile_definitions(kelpolicy_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
if(KELPOLICY_SANITIZE)
  add_compile_options(-fsanitize=${KELPOLICY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KELPOLICY_SANITIZE})
  target_compile_options(kelpolicy_options INTERFACE -U_FORTIFY_SOURCE)
endif()

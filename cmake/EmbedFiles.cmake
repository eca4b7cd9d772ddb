# Writes OUTPUT from TEMPLATE; @NAME@ stands for the bytes of the file that the variable NAME names. Run with cmake -P.
foreach(name IN LISTS NAMES)
  file(READ "${${name}}" bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," ${name} "${bytes}")
endforeach()
configure_file("${TEMPLATE}" "${OUTPUT}" @ONLY)
file(TOUCH "${OUTPUT}")  # also when its text is the same: it is newer than what it was made from

# 32-bit Windows.
set(mingw_machine i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)

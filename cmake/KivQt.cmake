# Finds the Qt that KIV_QT names. It does the threading inside the library and shows in no header, so both give the same
# interface.

set(KIV_QT_MINIMUM_5 5.14)
set(KIV_QT_MINIMUM_6 6.2)
if(NOT DEFINED KIV_QT_MINIMUM_${KIV_QT})
  message(FATAL_ERROR "KIV_QT is 5 or 6, not \"${KIV_QT}\"")
endif()
find_package(Qt${KIV_QT} ${KIV_QT_MINIMUM_${KIV_QT}} REQUIRED COMPONENTS Core)
set(KIV_QT_CORE Qt${KIV_QT}::Core)

# Writes kivdbxt.pc during an install, for the prefix of that install. In: KIV_PC_IN, KIV_PC_OUT,
# KIV_LIBDIR and KIV_INCLUDEDIR (the configured folders: relative to the prefix, or absolute),
# PROJECT_VERSION.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${KIV_${kind}}")
    set(KIV_PC_${kind} "${KIV_${kind}}")
  else()
    set(KIV_PC_${kind} "\${prefix}/${KIV_${kind}}")
  endif()
endforeach()
set(KIV_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
configure_file("${KIV_PC_IN}" "${KIV_PC_OUT}" @ONLY)

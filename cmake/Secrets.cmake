# Compiled-in keys and the cloud host. Their placeholder values stand in
# base/Secrets.cpp; any of them can be replaced at configure time, e.g.
#   cmake -DVELK_SECRET_DEFAULT_LINK_KEY=00112233445566778899AABBCCDDEEFF ...
# Keys are 32 hexadecimal digits (16 bytes). Only base/Secrets.cpp sees them.

set(_velk_secret_keys
  DEFAULT_LINK_KEY  "CKeySys::SetDefault: default link key of the units, as text"
  SERIAL_KEY        "CPackV7::DefaultKey: channel key of the USB serial line"
  FOR_KEY_SYS       "CPackV7::ForKeySYS: IDEA key that turns a password into a link key"
  PRO_CLOUD_KEY     "ProCloudKey: IDEA key of the cloud coding"
  DISP_MASK         "CSendDisp::m_Maska: key mask of the dispatcher protocol"
  GUEST_KEY         "Key material of the cloud server's guest account")
# The guest account's key material is the dispatcher mask unless a value of
# its own is configured.

set(VELK_SECRET_DEFINES "")
list(LENGTH _velk_secret_keys _n)
math(EXPR _last "${_n} - 1")
foreach(_i RANGE 0 ${_last} 2)
  math(EXPR _j "${_i} + 1")
  list(GET _velk_secret_keys ${_i} _name)
  list(GET _velk_secret_keys ${_j} _doc)
  if(_name STREQUAL "GUEST_KEY")
    set(_empty "the dispatcher mask")
  else()
    set(_empty "placeholder")
  endif()
  set(VELK_SECRET_${_name} "" CACHE STRING "${_doc} (32 hex digits; empty: ${_empty})")
  if(NOT VELK_SECRET_${_name} STREQUAL "")
    if(NOT VELK_SECRET_${_name} MATCHES "^[0-9A-Fa-f]+$")
      message(FATAL_ERROR "VELK_SECRET_${_name} must be 32 hexadecimal digits")
    endif()
    string(LENGTH "${VELK_SECRET_${_name}}" _len)
    if(NOT _len EQUAL 32)
      message(FATAL_ERROR "VELK_SECRET_${_name} must be 32 hexadecimal digits, not ${_len}")
    endif()
    list(APPEND VELK_SECRET_DEFINES "VELK_SECRET_${_name}=\"${VELK_SECRET_${_name}}\"")
  endif()
endforeach()

set(VELK_SECRET_CLOUD_HOST "" CACHE STRING "Host name of the default cloud server (empty: placeholder)")
if(NOT VELK_SECRET_CLOUD_HOST STREQUAL "")
  list(APPEND VELK_SECRET_DEFINES "VELK_SECRET_CLOUD_HOST=\"${VELK_SECRET_CLOUD_HOST}\"")
endif()

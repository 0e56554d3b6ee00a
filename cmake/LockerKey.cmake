# The public key inside the library, for which the payload locker encrypts. Sets
# ZQM_LOCKER_KEY_TEXT (PEM) and ZQM_LOCKER_KEY_OWNER.
set(ZQM_LOCKER_PUBLIC_KEY "" CACHE FILEPATH
  "PEM file with the public key (RSA, 1024 bits) of the backend's operator")

if(ZQM_LOCKER_PUBLIC_KEY)
  get_filename_component(ZQM_LOCKER_KEY_FILE "${ZQM_LOCKER_PUBLIC_KEY}" ABSOLUTE)
  set(ZQM_LOCKER_KEY_OWNER "operator's")
else()
  set(ZQM_LOCKER_KEY_FILE ${PROJECT_SOURCE_DIR}/zqm/resources/development-locker-key.pem)
  set(ZQM_LOCKER_KEY_OWNER "development")
endif()
if(NOT EXISTS "${ZQM_LOCKER_KEY_FILE}" OR IS_DIRECTORY "${ZQM_LOCKER_KEY_FILE}")
  message(FATAL_ERROR "ZQM_LOCKER_PUBLIC_KEY: there is no file ${ZQM_LOCKER_KEY_FILE}")
endif()
# Another key in the same file, too, is another build.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${ZQM_LOCKER_KEY_FILE}")
file(READ "${ZQM_LOCKER_KEY_FILE}" ZQM_LOCKER_KEY_TEXT)
# Only what stands between the markers, and nothing but Base64: it becomes a literal of the source.
if(NOT ZQM_LOCKER_KEY_TEXT MATCHES
   "-----BEGIN PUBLIC KEY-----[A-Za-z0-9+/= \t\r\n]+-----END PUBLIC KEY-----")
  message(FATAL_ERROR "ZQM_LOCKER_PUBLIC_KEY: ${ZQM_LOCKER_KEY_FILE} holds no PEM public key "
    "(-----BEGIN PUBLIC KEY----- and -----END PUBLIC KEY----- with Base64 between them)")
endif()
set(ZQM_LOCKER_KEY_TEXT "${CMAKE_MATCH_0}")
if(ZQM_LOCKER_PUBLIC_KEY)
  message(STATUS "Payload locker: the key in ${ZQM_LOCKER_KEY_FILE}")
else()
  message(STATUS "Payload locker: the development key, whose private half everybody has; "
    "ZQM_LOCKER_PUBLIC_KEY names another")
endif()

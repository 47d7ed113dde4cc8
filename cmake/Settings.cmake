# How our own targets are compiled. Linked by our targets only, never exported to a user of them.
add_library(corvid_settings INTERFACE)
target_compile_features(corvid_settings INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(CORVID_SANITIZE)
  target_compile_options(corvid_settings INTERFACE -fsanitize=${CORVID_SANITIZE}
                                                   -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(corvid_settings INTERFACE -fsanitize=${CORVID_SANITIZE})
elseif(CMAKE_BUILD_TYPE MATCHES "Rel")
  # Hardening costs nothing measurable here and this program deletes files.
  target_compile_options(corvid_settings INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE
                                                   -D_FORTIFY_SOURCE=2)
  if(NOT APPLE)
    target_link_options(corvid_settings INTERFACE -Wl,-z,relro,-z,now)
  endif()
endif()

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

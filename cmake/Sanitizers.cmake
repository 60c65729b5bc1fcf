# Sanitizers for the whole build: PARLOVEX_SANITIZE is a comma list as -fsanitize takes it.
set(PARLOVEX_SANITIZE "" CACHE STRING "Sanitizers, for example address,undefined or thread")
if(PARLOVEX_SANITIZE)
    add_compile_options(-fsanitize=${PARLOVEX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${PARLOVEX_SANITIZE})
endif()

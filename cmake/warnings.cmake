add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(MCGATE_WERROR)
    add_compile_options(-Werror)
endif()

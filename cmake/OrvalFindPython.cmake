# orval_find_python(VARIABLE module...): the first Python that has them. The system's comes first: an
# environment of the developer's own may lack what Debian's packages bring.
function(orval_find_python variable)
  list(JOIN ARGN ", " modules)
  foreach(python IN ITEMS /usr/bin/python3 python3)
    execute_process(COMMAND ${python} -c "import ${modules}"
      RESULT_VARIABLE lacks OUTPUT_QUIET ERROR_QUIET)
    if(lacks EQUAL 0)
      set(${variable} ${python} CACHE INTERNAL "A Python that has ${modules}")
      return()
    endif()
  endforeach()
endfunction()

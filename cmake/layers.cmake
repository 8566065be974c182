# A layer is an object library: objects that only register themselves
# (parameters, log sources) must not vanish as they would from an archive.
# CMake hands the objects of an object library to direct dependents only, so an
# executable names its topmost layers and this walks down the diagram.

function(qolt_collect_layers result)
  set(found)
  set(queue ${ARGN})
  while(queue)
    list(POP_FRONT queue layer)
    if(layer IN_LIST found)
      continue()
    endif()
    list(APPEND found ${layer})
    if(TARGET ${layer})
      get_target_property(type ${layer} TYPE)
      if(type STREQUAL "OBJECT_LIBRARY")
        get_target_property(below ${layer} INTERFACE_LINK_LIBRARIES)
        if(below)
          list(APPEND queue ${below})
        endif()
      endif()
    endif()
  endwhile()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

# qolt_link(<executable> <topmost layer>...)
function(qolt_link executable)
  qolt_collect_layers(layers ${ARGN})
  target_link_libraries(${executable} PRIVATE ${layers})
endfunction()

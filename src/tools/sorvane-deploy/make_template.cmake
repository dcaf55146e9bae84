# Stages the template bundle and zips it (run by the build with cmake -P):
#   <STAGING>/Self-Deploying Kolvane2.app/
#       deploy-settings                 launcher for file managers and shells
#       Contents/Info.plist
#       Contents/MacOS/sorvane-deploy   the program
#       Contents/MacOS/defaults         the defaults program it writes with
#       Contents/Resources/SelfDeploying.png
# The packager later writes Contents/Resources/Package.Kolvane2 into a copy.
foreach(_variable STAGING DEPLOY DEFAULTS ICON_MAKER INFO LAUNCHER ZIP OUTPUT)
    if(NOT DEFINED ${_variable})
        message(FATAL_ERROR "make_template.cmake needs -D${_variable}=...")
    endif()
endforeach()

set(_name "Self-Deploying Kolvane2.app")
set(_bundle "${STAGING}/${_name}")
file(REMOVE_RECURSE "${STAGING}")
file(MAKE_DIRECTORY "${_bundle}/Contents/MacOS" "${_bundle}/Contents/Resources")
file(COPY "${DEPLOY}" "${DEFAULTS}" DESTINATION "${_bundle}/Contents/MacOS")
file(COPY "${INFO}" DESTINATION "${_bundle}/Contents")
file(COPY "${LAUNCHER}" DESTINATION "${_bundle}" FILE_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
execute_process(COMMAND "${ICON_MAKER}" "${_bundle}/Contents/Resources/SelfDeploying.png"
    RESULT_VARIABLE _result)
if(NOT _result EQUAL 0)
    message(FATAL_ERROR "drawing the template icon failed: ${_result}")
endif()

# zip -r adds to an existing archive, so the new one is made from nothing
# beside the old and then put in its place.
get_filename_component(_folder "${OUTPUT}" DIRECTORY)
file(MAKE_DIRECTORY "${_folder}")
set(_partial "${OUTPUT}.partial")
file(REMOVE "${_partial}")
execute_process(COMMAND "${ZIP}" -r -q -X "${_partial}" "${_name}"
    WORKING_DIRECTORY "${STAGING}" RESULT_VARIABLE _result)
if(NOT _result EQUAL 0)
    file(REMOVE "${_partial}")
    message(FATAL_ERROR "zipping the template failed: ${_result}")
endif()
file(RENAME "${_partial}" "${OUTPUT}")

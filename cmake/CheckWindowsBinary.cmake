# Checks a Windows x64 binary built with mingw-w64: it must load on a bare
# Windows system (imports only system DLLs, none of the MinGW runtime DLLs)
# and a module must export exactly its entry points.
#
#   cmake -DFILE=<path.ofx|.dll|.exe> [-DEXPORTS=<name,name...>|-DEXPORTS=NONE]
#         [-DOBJDUMP=<objdump>] -P CheckWindowsBinary.cmake
#
# EXPORTS defaults to the two OpenFX entry points for .ofx files and to none
# for everything else.

cmake_minimum_required(VERSION 3.20)

if(NOT FILE)
    message(FATAL_ERROR "Pass the binary to check with -DFILE=<path>")
endif()
if(NOT EXISTS "${FILE}")
    message(FATAL_ERROR "${FILE} does not exist")
endif()

if(NOT DEFINED EXPORTS)
    if(FILE MATCHES "\\.ofx$")
        set(EXPORTS OfxGetNumberOfPlugins OfxGetPlugin)
    else()
        set(EXPORTS NONE)
    endif()
endif()
string(REPLACE "," ";" EXPORTS "${EXPORTS}")
if(EXPORTS STREQUAL "NONE")
    set(EXPORTS "")
endif()

if(NOT OBJDUMP)
    find_program(OBJDUMP NAMES x86_64-w64-mingw32-objdump)
    if(NOT OBJDUMP)
        message(FATAL_ERROR "x86_64-w64-mingw32-objdump not found; pass -DOBJDUMP=<objdump>")
    endif()
endif()

execute_process(COMMAND "${OBJDUMP}" -p "${FILE}"
    OUTPUT_VARIABLE dump ERROR_VARIABLE dump_error RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${OBJDUMP} -p ${FILE} failed (${status}):\n${dump_error}")
endif()

set(problems "")

if(NOT dump MATCHES "file format pei-x86-64")
    string(APPEND problems "  not a PE32+ x86-64 image\n")
endif()
if(FILE MATCHES "\\.(ofx|dll)$" AND NOT dump MATCHES "\n[ \t]+DLL\n")
    string(APPEND problems "  not marked as a DLL\n")
endif()

# --- imports ------------------------------------------------------------------
# Whatever a clean Windows installation has; anything else (the MinGW runtime,
# a DLL of ours) would have to be shipped next to the binary.
set(system_dlls
    kernel32 user32 gdi32 advapi32 shell32 ole32 oleaut32 comdlg32 comctl32
    shlwapi version ws2_32 bcrypt ntdll psapi dbghelp winmm imm32 uxtheme
    msvcrt ucrtbase)
string(REGEX MATCHALL "DLL Name: [^\n]+" import_lines "${dump}")
set(imports "")
foreach(line IN LISTS import_lines)
    string(REGEX REPLACE "^DLL Name: " "" dll "${line}")
    string(STRIP "${dll}" dll)
    list(APPEND imports "${dll}")
    string(TOLOWER "${dll}" lower)
    string(REGEX REPLACE "\\.dll$" "" base "${lower}")
    if(base MATCHES "^(api-ms-win-|ext-ms-win-)")
        continue()
    endif()
    list(FIND system_dlls "${base}" known)
    if(known EQUAL -1)
        if(base MATCHES "^(libstdc\\+\\+|libgcc|libwinpthread|libgomp|libssp)")
            string(APPEND problems "  imports the MinGW runtime DLL ${dll} (link with -static)\n")
        else()
            string(APPEND problems "  imports ${dll}, which is not a Windows system DLL\n")
        endif()
    endif()
endforeach()
if(NOT imports)
    string(APPEND problems "  has no imports at all (objdump output not understood?)\n")
endif()

# --- exports ------------------------------------------------------------------
set(exports "")
set(export_count 0)
string(FIND "${dump}" "[Ordinal/Name Pointer] Table" names_at)
if(names_at GREATER -1)
    string(SUBSTRING "${dump}" ${names_at} -1 names_part)
    # The table ends at the first blank line.
    string(FIND "${names_part}" "\n\n" end_at)
    if(end_at GREATER -1)
        string(SUBSTRING "${names_part}" 0 ${end_at} names_part)
    endif()
    string(REGEX MATCHALL "\\[ *[0-9]+\\] [^\n]+" name_lines "${names_part}")
    foreach(line IN LISTS name_lines)
        string(REGEX REPLACE "^\\[ *[0-9]+\\] " "" name "${line}")
        string(STRIP "${name}" name)
        list(APPEND exports "${name}")
    endforeach()
endif()
# Exports by ordinal only have no name; the address table counts them too.
if(dump MATCHES "Export Address Table[ \t]+([0-9a-fA-F]+)\n")
    math(EXPR export_count "0x${CMAKE_MATCH_1}")
endif()

set(unexpected ${exports})
set(missing ${EXPORTS})
if(EXPORTS)
    list(REMOVE_ITEM unexpected ${EXPORTS})
endif()
if(exports)
    list(REMOVE_ITEM missing ${exports})
endif()
list(LENGTH unexpected unexpected_count)
if(unexpected_count GREATER 0)
    # A module without any dllexport gets everything exported by the linker,
    # the static runtime included: show the start of such a list only.
    list(SUBLIST unexpected 0 12 shown)
    string(REPLACE ";" ", " shown "${shown}")
    if(unexpected_count GREATER 12)
        math(EXPR more "${unexpected_count} - 12")
        string(APPEND shown " and ${more} more")
    endif()
    string(APPEND problems "  exports ${unexpected_count} unexpected names: ${shown}\n")
endif()
if(missing)
    string(REPLACE ";" ", " shown "${missing}")
    string(APPEND problems "  does not export ${shown}\n")
endif()
list(LENGTH exports name_count)
if(NOT export_count EQUAL name_count)
    string(APPEND problems
        "  has ${export_count} entries in its export address table for ${name_count} names\n")
endif()

string(REPLACE ";" ", " imports_shown "${imports}")
if(NOT imports_shown)
    set(imports_shown "none")
endif()
if(problems)
    message(FATAL_ERROR "${FILE}:\n${problems}imports: ${imports_shown}")
endif()
string(REPLACE ";" ", " exports_shown "${exports}")
if(NOT exports_shown)
    set(exports_shown "nothing")
endif()
message(STATUS "${FILE}: imports ${imports_shown}; exports ${exports_shown}")

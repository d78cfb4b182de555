# KT_UNITY: the sources of a folder are compiled together, which takes half of the time. For builds
# that are made once, as those of .ci/run; an edit then compiles its whole folder.

# Sources that have a name of their own like one in the rest of their folder.
set(KT_UNITY_APART
  analysis/Kt_FlowCheck.cpp
  analysis/Kt_ForeignWords.cpp
  analysis/Kt_NameCheck.cpp
  classlib/base/Kt_NativeStack.cpp
  cli/Kt_Console_Windows.cpp
  cli/Kt_Memory.cpp
  cli/Kt_OpenFile_Windows.cpp
  cli/data/Kt_Save_Windows.cpp
  cli/lsp/Kt_Input.cpp
  cli/show/Kt_Terminal_Windows.cpp
  classlib/formats/Kt_Csv.cpp
  classlib/formats/Kt_Json.cpp
  classlib/store/Kt_Rows.cpp
  classlib/store/Kt_Source.cpp
  classlib/text/Kt_Unicode.cpp
  classlib/text/Kt_WString.cpp
  classlib/text/Kt_WString_Number.cpp
  classlib/text/Kt_WString_Trim.cpp
  connect/Kt_XlsxLoad.cpp
  connect/Kt_XlsxSave.cpp
  connect/detail/Kt_PgCells.cpp
  connect/detail/Kt_Postgresql.cpp
  connect/sql/detail/Kt_SqlNumbers.cpp
  dataset/methods/Kt_QuickCells.cpp
  dataset/methods/Kt_Rows.cpp
  expr/Kt_ExprUtil_Valid.cpp
  expr/Kt_Expr_Parse.cpp
  expr/detail/Kt_Evaluator.cpp
  expr/detail/Kt_HostCode.cpp
  expr/detail/Kt_NumberCode_Run.cpp
  object/Kt_ExprStackObj_Read.cpp
  object/Kt_ExprStackObj_Write.cpp
  object/detail/Kt_DecimalText.cpp
  reference/Kt_MethodHelp.cpp
  script/code/Kt_Machine_Slow.cpp
  script/detail/Kt_RunState.cpp
)

# kt_unite(<target>): folder by folder, so many files at once that two cores have work.
function(kt_unite target)
  get_target_property(sources ${target} SOURCES)
  get_target_property(folder ${target} SOURCE_DIR)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  # GCC takes what a unit includes for headers, where types without linkage would be a fault.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder} NORMALIZE)
    file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${source})
    if(name IN_LIST KT_UNITY_APART OR NOT name MATCHES "^[^.].*\\.cpp$")
      continue()
    endif()
    get_filename_component(group ${name} DIRECTORY)
    string(MAKE_C_IDENTIFIER ${group} group)
    math(EXPR kt_unity_${group} "${kt_unity_${group}} + 1")
    math(EXPR part "${kt_unity_${group}} / 16")
    set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES
      UNITY_GROUP ${group}_${part})
  endforeach()
endfunction()

foreach(target KtClassLib320U KtScriptLib320U KtConnectLib320U KtSqlLib320U kt_analysis kt_cli)
  if(TARGET ${target})
    kt_unite(${target})
  endif()
endforeach()

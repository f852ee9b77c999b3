# Complete jet runs of the example scenarios, and the concentration field they imply.
ostreljet_add_bench(jet_run_bench ${CMAKE_CURRENT_LIST_DIR}/JetRunBench.cpp)
ostreljet_add_bench(concentration_bench ${CMAKE_CURRENT_LIST_DIR}/ConcentrationBench.cpp)
# The run benchmark times one centreline solve alone through the tests' access to the model's working state.
target_include_directories(jet_run_bench PRIVATE ${PROJECT_SOURCE_DIR}/tests/jet)
foreach(target jet_run_bench concentration_bench)
  target_compile_definitions(${target} PRIVATE OSTRELJET_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples")
endforeach()
# Side by side against another build of the library: side_by_side_bench BASELINE.so CANDIDATE.so DIR
add_executable(side_by_side_bench ${CMAKE_CURRENT_LIST_DIR}/SideBySideBench.cpp)
target_link_libraries(side_by_side_bench PRIVATE ${CMAKE_DL_LIBS})
# Grids side by side against another build: grid_side_by_side_bench BASELINE.so CANDIDATE.so SCENARIO.json
add_executable(grid_side_by_side_bench ${CMAKE_CURRENT_LIST_DIR}/GridSideBySideBench.cpp)
target_link_libraries(grid_side_by_side_bench PRIVATE ${CMAKE_DL_LIBS})

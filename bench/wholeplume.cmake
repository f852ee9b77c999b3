# What the far field adds to a run with its summary, per example.
ostreljet_add_bench(whole_plume_bench ${CMAKE_CURRENT_LIST_DIR}/WholePlumeBench.cpp)
target_compile_definitions(whole_plume_bench PRIVATE OSTRELJET_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples")

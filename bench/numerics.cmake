ostreljet_add_bench(integrator_bench ${CMAKE_CURRENT_LIST_DIR}/IntegratorBench.cpp)

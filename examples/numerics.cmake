add_executable(custom_ode ${CMAKE_CURRENT_LIST_DIR}/custom_ode.cpp)
target_link_libraries(custom_ode PRIVATE ostreljet::ostreljet)

// Marks the functions of zorvan_engine.dll that zorvan.sys calls.
#pragma once

#ifdef ZORVAN_ENGINE_BUILD
#define ZORVAN_ENGINE_API __declspec(dllexport)
#else
#define ZORVAN_ENGINE_API __declspec(dllimport)
#endif

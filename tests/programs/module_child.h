/// A shared object beside a test program that asks where it lies itself.
#ifndef KIV_TESTS_MODULE_CHILD_H
#define KIV_TESTS_MODULE_CHILD_H

/// As wai_getModulePath, called from this module.
__attribute__((visibility("default"))) int moduleOfTheModule(char* out, int capacity, int* dirnameLength);

#endif

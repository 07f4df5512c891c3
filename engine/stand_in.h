// Stands in for what the daemon's modules ask of the platform: they are compiled with this header
// in front, and unchanged. Files are those in memory; what a shell would do is done here.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

FILE* stand_in_fopen(const char* path, const char* mode);
int stand_in_stat(const char* path, struct stat* status);
int stand_in_access(const char* path, int mode);
FILE* stand_in_popen(const char* command, const char* mode);
int stand_in_system(const char* command);
int stand_in_usleep(unsigned microseconds);
int stand_in_printf(const char* format, ...);

#ifdef STAND_IN  // what stands in does not see itself
#define fopen stand_in_fopen
#define stat(path, status) stand_in_stat(path, status)
#define access stand_in_access
#define popen stand_in_popen
#define printf(...) stand_in_printf(__VA_ARGS__)
#define pclose fclose
#define system stand_in_system
#define usleep stand_in_usleep
#endif

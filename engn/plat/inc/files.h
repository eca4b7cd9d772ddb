/* Files and paths of the server.
 *
 * Paths are terminated byte strings of at most 4095 bytes. Threads: any; a file handle is used by one at a time.
 * Nothing here throws or jumps. */
#ifndef PLAT_FILES_H
#define PLAT_FILES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define OSS_PATH_SIZE 4096 /* bytes a path buffer needs, terminator included */

#define OSS_OK 0
#define OSS_NOT_FOUND 1     /* no such file or directory */
#define OSS_NO_PERMISSION 2 /* the engine may not do that */
#define OSS_NOT_REGULAR 3   /* a symbolic link, directory, device or pipe where a regular file is wanted */
#define OSS_NO_SPACE 4      /* the device is full */
#define OSS_TOO_LONG 5      /* a path or a result does not fit */
#define OSS_NO_MEMORY 6
#define OSS_ERROR 7 /* any other failure */

typedef struct OSSHFile OSSHFile; /* an open file, owned by who opened it until ossFileClose */

#define OSS_FILE_READ 1u    /* an existing file, for reading */
#define OSS_FILE_CREATE 2u  /* a new file or an existing one emptied, for writing */
#define OSS_FILE_REPLACE 4u /* other contents for a file, for writing */

/* Opens a regular file; the last component is not followed when it is a symbolic link, and no device or pipe is
 * opened (nor waited for). `permissions` are the permission bits of a new file, less the process's file mode mask; an
 * existing file keeps its own. `*file` is null on failure. */
int32_t ossFileOpen(OSSHFile** file, const char* path, uint32_t mode, uint32_t permissions);

/* Opens the regular file of that name below the directory `root`. The way to it is walked name by name: neither `root`
 * nor a name on it is a symbolic link, whoever exchanges names meanwhile. Slashes at the end mean nothing, ".." is not
 * found.
 *
 * For OSS_FILE_REPLACE everybody sees the file as it was until ossFileCommit; without that it stays. A file that is not
 * there gets the permissions, less the process's file mode mask; one that is keeps its own, and its owner. One that the
 * effective user may not write is OSS_NO_PERMISSION. OSS_FILE_CREATE is not possible. `*file` is null on failure. */
int32_t ossFileOpenBelow(OSSHFile** file, const char* root, const char* name, uint32_t mode, uint32_t permissions);

/* What was written becomes the contents of the file that is replaced, and is on the device when this returns OSS_OK: in
 * one step where a new file can be given the mode and owner of the old one, else by writing the whole into that. Once,
 * before ossFileClose. */
int32_t ossFileCommit(OSSHFile* file);

/* Reads up to `size` bytes; `*done` receives how many, less than `size` only at the end of the file. */
int32_t ossFileRead(OSSHFile* file, void* buffer, size_t size, size_t* done);

/* Writes `size` bytes; `*done` receives how many were written, less than `size` only on failure. */
int32_t ossFileWrite(OSSHFile* file, const void* buffer, size_t size, size_t* done);

/* The file's size in bytes. */
int32_t ossFileSize(OSSHFile* file, uint64_t* size);

/* Closes the file and frees the handle, also on failure. A file that was written is on the device when this
 * returns OSS_OK. Null is ignored. */
int32_t ossFileClose(OSSHFile* file);

int32_t ossPathExists(const char* path);  /* 1 something of that name exists, 0 not */
int32_t ossIsDirectory(const char* path); /* 1 a directory, 0 not; a symbolic link to one is none */

/* Creates a directory and its missing parents with these permission bits, less the process's file mode mask. An
 * existing directory is OSS_OK; a symbolic link to one is OSS_NOT_REGULAR. */
int32_t ossDirectoryCreate(const char* path, uint32_t permissions);

/* The same for the directory of that name below `root`, on a way without symbolic links like that of ossFileOpenBelow.
 */
int32_t ossDirectoryCreateBelow(const char* root, const char* name, uint32_t permissions);

/* The last component of a path ("a/b.xml" gives "b.xml"), and all before it ("a/b.xml" gives "a", "b.xml" gives
 * "."), into `out` of `size` bytes. OSS_TOO_LONG (and an empty text) when it does not fit. */
int32_t ossBaseName(const char* path, char* out, size_t size);
int32_t ossDirectoryName(const char* path, char* out, size_t size);

/* The instance directory of the calling thread's engine context, without a slash at its end. OSS_NOT_FOUND (and an
 * empty text) without a context. */
int32_t sqloInstancePath(char* out, size_t size);

#ifdef __cplusplus
}
#endif

#endif

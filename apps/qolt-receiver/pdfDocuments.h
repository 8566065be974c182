#pragma once

#include <sys/types.h>

#include <cstdio>
#include <vector>

namespace receiver {

// CUPS hands over all documents of a job, such as several files or one between banner
// pages, as one: PDF documents behind each other, of which a viewer sees only the last.

// Where each of them ends in the file, in bytes; the last value is its size. One begins
// with "%PDF-" behind the "%%EOF" of another; a PDF document within one stands elsewhere.
// Throws plat::SystemException.
std::vector<off_t> pdfDocumentEnds(int fd);

// Throws plat::SystemException "pread" or "fwrite", and plat::Exception when the file is
// shorter.
void copyRange(int fd, off_t begin, off_t end, FILE* out);

}  // namespace receiver

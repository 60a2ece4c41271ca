// Reads a BDF/EDF file with EDFlib, the strictest reader at hand, and
// prints what it found for a test to compare: "records N", "patient TEXT",
// then "annotation ONSET TEXT" per annotation (onset in seconds from the
// start). Exits 1 when EDFlib refuses the file.
#include <edflib.h>

#include <cstdio>
#include <memory>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: bdf_read FILE\n");
    return 2;
  }
  auto header = std::make_unique<edf_hdr_struct>();
  if (edfopen_file_readonly(argv[1], header.get(), EDFLIB_READ_ALL_ANNOTATIONS) != 0) {
    std::printf("refused %d\n", header->filetype);
    return 1;
  }
  std::printf("records %lld\npatient %s\n", header->datarecords_in_file, header->patient_name);
  for (long long n = 0; n < header->annotations_in_file; ++n) {
    edf_annotation_struct annotation{};
    if (edf_get_annotation(header->handle, static_cast<int>(n), &annotation) != 0) return 1;
    std::printf("annotation %.4f %s\n", static_cast<double>(annotation.onset) / EDFLIB_TIME_DIMENSION,
                annotation.annotation);
  }
  edfclose_file(header->handle);
  return 0;
}

// The rule-driven vectorizer.
#pragma once

extern int do_MDF_vectorization;

void matcher_init();
// Reads the target description; with `dump` also writes it out.
void parse_md_file(bool dump);
void do_cd_vectorization();
void do_cd_ilp();
void disguise_vector_operations();
void disclose_vector_operations();
void coalesce_local_vector_symbols();
void lower_vector_statements();

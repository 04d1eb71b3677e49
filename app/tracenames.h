// The application's names for the I/O trace that visalib records: status names and the
// attribute and event catalogues.
#pragma once

// Installs the names, before the first VISA call so that attribute values are recorded whole,
// and starts the file that $TALMIK_TRACE names, saying on standard error when it cannot.
void installIoTraceNames();

#ifndef ORVAL_BENCH_FAMILIES_H
#define ORVAL_BENCH_FAMILIES_H

// What adds the rows of each family.
namespace bench {

// In the process of a client, on a key that answers at once.
void AddCallRows();
void AddDeliveryRows();
void AddLogRows();
void AddStringRows();
void AddImportRows();
void AddRequestRows();
void AddCharsetRows();
void AddBindingRows();
void AddInstantStopRows();

// In a program that counts the heap.
void AddMemoryRows();

// On the software key.
void AddSignatureRows();
void AddKeyStopRows();
void AddStartRows();
void AddTraceRows();

}  // namespace bench

#endif

/* Included in front of every source: what the next compiler may say of any of them. */
#warning "a newer compiler finds fault"

// A request description yields the records and values that a plain reading of it yields.
#include "formats/request_description.h"
#include "fuzz_target.h"
#include "plain_readings.h"
#include "qrv/exception.h"

namespace {

using fuzz::Require;
using walk::PlainRead;

PlainRead Read(const orval::RequestDescription& description, orval::RequestFields& fields) {
    try {
        return description.ReadFields(fields) ? PlainRead::kDone : PlainRead::kUnknownName;
    } catch (const QRV::CQrvException& exception) {
        Require(exception.Code() == QRV::kInvalidArgument, "a bad position is an invalid argument");
        return PlainRead::kPositionPastEnd;
    }
}

void RequireSameFields(const orval::RequestFields& fields, const walk::PlainFields& plain) {
    Require(fields.cert_type == plain.cert_type, "CertType is the plain reading's");
    Require(fields.key_type == plain.key_type, "KeyType is the plain reading's");
    Require(fields.hash_type == plain.hash_type, "HashType is the plain reading's");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A description is a C text: it ends at the first NUL.
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    orval::RequestDescription description(text.c_str());
    orval::RequestFields fields;
    walk::PlainFields plain_fields;
    for (const std::string& record : walk::PlainRecords(text)) {
        Require(description.TakeRecord(), "each plain record is one of the description's");
        const PlainRead plain = ReadPlainRecord(record, plain_fields);
        Require(Read(description, fields) == plain, "a record is as sound as its plain reading");
        if (plain != PlainRead::kDone) {
            return 0;
        }
        RequireSameFields(fields, plain_fields);
    }
    Require(!description.TakeRecord(), "there are no more records than plain ones");
    return 0;
}

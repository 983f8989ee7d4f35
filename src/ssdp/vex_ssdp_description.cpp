#include "ssdp/concat.h"
#include "ssdp/description_document.h"
#include "ssdp/max_age.h"
#include "ssdp/output_line.h"
#include "ssdp/usn.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_file_io.h"

#include <cstdlib>

// Writing description documents.

namespace {

// Whether the document could be put into its file. As ever with the daemon's
// files, a medium that is full shows in the file, not here.
bool WriteDocument(const std::string &path, const std::string &document)
{
    VEXFileIO file;
    if (file.Open(path, VEXFileIO::kWrite | VEXFileIO::kTruncate, VEXFileIO::kBuffered) !=
        kVEXSuccess) {
        ssdp::WriteFault({"GenerateDeviceDescriptionFile", ": Failed to open the SSDP XML file"});
        return false;
    }
    static_cast<void>(file.Write(document.data(), static_cast<std::uint32_t>(document.size())));
    return true;
}

} // namespace

bool VEX_SSDP::GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                             SSDPDeviceType &service)
{
    static_cast<void>(ssdp::GetMaximumAge(service.maxAge));
    const auto seconds = static_cast<std::uint32_t>(random() % ssdp::kAnnounceSpreadSeconds) +
                         ssdp::kAnnounceBaseSeconds;
    service.timerPeriod = seconds * 1000;
    service.timerCountdown = static_cast<std::int32_t>(service.timerPeriod);
    const std::uint32_t number = mFileNumberContainer.GetFileNumber();
    if (number == 0) {
        return false;
    }
    const std::string fileName = ssdp::DescriptionFileName(service.productName, number);
    service.server = ssdp::kServer;
    service.usn = ssdp::MakeUSN(service.productName, service.ipAddress, service.instance);
    service.location = ssdp::Concat({"http://", interfaceAddress, ":80/", fileName});
    service.descriptionFileName = mPath + fileName;
    return WriteDocument(service.descriptionFileName,
                         ssdp::ComposeDescription(service, fileName, BEACOND_MAKER_URL));
}

void VEX_SSDP::ReturnFileNumber(const std::string &descriptionFileName)
{
    mFileNumberContainer.ReturnFileNumber(descriptionFileName);
}

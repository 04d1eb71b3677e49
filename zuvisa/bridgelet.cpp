// Defaults of the bridgelet interface: whatever a link does not override is not supported.
#include "zuvisa/bridgelet.h"

namespace zuvisa {

namespace {
constexpr ViStatus kNsup = VI_ERROR_NSUP_OPER;
}

ViStatus Link::write(const ViByte*, size_t, bool, const IoControl&, size_t* done) {
    if (done) *done = 0;
    return kNsup;
}
ViStatus Link::read(ViByte*, size_t, const ReadOptions&, const IoControl&, size_t* done) {
    if (done) *done = 0;
    return kNsup;
}
ViStatus Link::clear() { return kNsup; }
ViStatus Link::readStb(ViUInt16*) { return kNsup; }
ViStatus Link::assertTrigger(ViUInt16) { return kNsup; }
ViStatus Link::setIoBuffer(ViUInt16, ViUInt32) { return kNsup; }
ViStatus Link::flushIoBuffer(ViUInt16) { return kNsup; }
ViStatus Link::getAttribute(ViAttr, ViAttrState*, std::string*) { return VI_ERROR_NSUP_ATTR; }
ViStatus Link::setAttribute(ViAttr, ViAttrState) { return VI_SUCCESS; }
ViStatus Link::lock(ViAccessMode, ViUInt32, const std::string&) { return VI_SUCCESS; }
ViStatus Link::unlock(ViAccessMode) { return VI_SUCCESS; }
ViStatus Link::in(ViUInt16, ViBusAddress64, int, ViUInt64*) { return kNsup; }
ViStatus Link::out(ViUInt16, ViBusAddress64, int, ViUInt64) { return kNsup; }
ViStatus Link::moveIn(ViUInt16, ViBusAddress64, int, ViBusSize, void*) { return kNsup; }
ViStatus Link::moveOut(ViUInt16, ViBusAddress64, int, ViBusSize, const void*) { return kNsup; }
ViStatus Link::move(ViUInt16, ViBusAddress64, int, ViUInt16, ViBusAddress64, int, ViBusSize,
                    const IoControl&, ViBusSize* done) {
    if (done) *done = 0;
    return kNsup;
}
ViStatus Link::mapAddress(ViUInt16, ViBusAddress64, ViBusSize, bool, ViAddr, ViAddr*) {
    return kNsup;
}
ViStatus Link::unmapAddress() { return kNsup; }
ViStatus Link::peek(ViAddr, int, ViUInt64*) { return kNsup; }
ViStatus Link::poke(ViAddr, int, ViUInt64) { return kNsup; }
ViStatus Link::memAlloc(ViBusSize, ViBusAddress64*) { return kNsup; }
ViStatus Link::memFree(ViBusAddress64) { return kNsup; }
ViStatus Link::vxiCommandQuery(ViUInt16, ViUInt32, ViUInt32*, const IoControl&) { return kNsup; }
ViStatus Link::gpibControlRen(ViUInt16) { return kNsup; }
ViStatus Link::gpibControlAtn(ViUInt16) { return kNsup; }
ViStatus Link::gpibSendIfc() { return kNsup; }
ViStatus Link::gpibCommand(const ViByte*, size_t, size_t* done) {
    if (done) *done = 0;
    return kNsup;
}
ViStatus Link::gpibPassControl(ViUInt16, ViUInt16) { return kNsup; }
ViStatus Link::mapTrigger(ViInt16, ViInt16, ViUInt16) { return kNsup; }
ViStatus Link::unmapTrigger(ViInt16, ViInt16) { return kNsup; }
ViStatus Link::assertIntrSignal(ViInt16, ViUInt32) { return kNsup; }
ViStatus Link::assertUtilSignal(ViUInt16) { return kNsup; }
ViStatus Link::vxiServantResponse(ViInt16, ViUInt32) { return kNsup; }
ViStatus Link::usbControlOut(ViInt16, ViInt16, ViUInt16, ViUInt16, ViUInt16, const ViByte*) {
    return kNsup;
}
ViStatus Link::usbControlIn(ViInt16, ViInt16, ViUInt16, ViUInt16, ViUInt16, ViByte*,
                            ViUInt16* done) {
    if (done) *done = 0;
    return kNsup;
}

}  // namespace zuvisa

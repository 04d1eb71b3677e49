#include "resources/rsrcrecord.h"

#include <cstdlib>
#include <vector>

RsrcRecord* lpRsrcs = nullptr;
int nRsrcs = 0;
int* lpSortType = nullptr;
int* lpSortConn = nullptr;

namespace {

const char kUnknownCategory[] = "Unknown";

// GPIB-VXI interfaces numbered from 10 on are not pulled behind their board.
constexpr int kGpibVxiPulledForward = 10;

int magnitude(short type) { return type < 0 ? -type : type; }

// Appends record indices to an order, each at most once.
class OrderBuilder {
public:
    OrderBuilder(int n, int* order) : order_(order), placed_(static_cast<size_t>(n), false) {}
    bool placed(int index) const { return placed_[static_cast<size_t>(index)]; }
    void add(int index, bool duplicate = false) {
        placed_[static_cast<size_t>(index)] = true;
        order_[count_++] = duplicate ? ~index : index;
    }
    void addUnplaced(int index) {
        if (!placed(index)) add(index);
    }
    // Everything not placed yet, in array order.
    void addRest() {
        for (size_t i = 0; i < placed_.size(); ++i) addUnplaced(static_cast<int>(i));
    }

private:
    int* order_;
    int count_ = 0;
    std::vector<bool> placed_;
};

}  // namespace

void releaseRsrcs() {
    nRsrcs = 0;
    std::free(lpRsrcs);
    std::free(lpSortType);
    std::free(lpSortConn);
    lpRsrcs = nullptr;
    lpSortType = lpSortConn = nullptr;
}

bool bIsInList(const int* list, int value, int n) {
    if (value < 0) value = ~value;
    for (int i = 0; i < n; ++i)
        if ((list[i] < 0 ? ~list[i] : list[i]) == value) return true;
    return false;
}

bool isGpibVxiDuplicate(const RsrcRecord* records, int n, int index) {
    const RsrcRecord& g = records[index];
    for (int x = 0; x < n; ++x)
        if (magnitude(records[x].intfType) == RSRC_GPIB_VXI && records[x].parentNum == g.intfNum &&
            records[x].gpibPrimary == g.gpibPrimary)
            return true;
    return false;
}

void sortRsrcsByType(const RsrcRecord* records, int n, int* order) {
    OrderBuilder out(n, order);
    for (int t = RSRC_GPIB; t <= RSRC_TCPIP; ++t) {
        for (int i = 0; i < n; ++i)
            if (records[i].intfType == t)
                out.add(i, t == RSRC_GPIB && isGpibVxiDuplicate(records, n, i));
        for (int i = 0; i < n; ++i)
            if (records[i].intfType == -t) out.add(i);
    }
    out.addRest();
}

void sortRsrcsByConn(const RsrcRecord* records, int n, int* order) {
    OrderBuilder out(n, order);
    auto isGpib = [&](int i) { return magnitude(records[i].intfType) == RSRC_GPIB; };
    auto lastOfItsBoard = [&](int i) {
        for (int j = i + 1; j < n; ++j)
            if (isGpib(j) && records[j].intfNum == records[i].intfNum) return false;
        return true;
    };
    // The GPIB-VXI interfaces behind a board: per interface number, its other classes first.
    auto addGpibVxiBehind = [&](unsigned short board) {
        bool any = false;
        for (int x = 0; x < n && !any; ++x)
            any = magnitude(records[x].intfType) == RSRC_GPIB_VXI && records[x].parentNum == board;
        if (!any) return;
        for (int number = 0; number < kGpibVxiPulledForward; ++number)
            for (short type : {static_cast<short>(-RSRC_GPIB_VXI), static_cast<short>(RSRC_GPIB_VXI)})
                for (int x = 0; x < n; ++x)
                    if (records[x].intfType == type && records[x].intfNum == number &&
                        records[x].parentNum == board)
                        out.addUnplaced(x);
    };
    for (int t = RSRC_GPIB; t <= RSRC_TCPIP; ++t) {
        for (int i = 0; i < n; ++i) {
            if (magnitude(records[i].intfType) != t) continue;
            if (t != RSRC_GPIB) {
                out.addUnplaced(i);
                continue;
            }
            out.add(i, isGpibVxiDuplicate(records, n, i));
            if (lastOfItsBoard(i)) addGpibVxiBehind(records[i].intfNum);
        }
    }
    out.addRest();
}

const char* rsrcCategory(short intfType) {
    switch (intfType) {
        case RSRC_GPIB: return "GPIB Instrument Resources";
        case -RSRC_GPIB: return "GPIB Miscellaneous Resources";
        case RSRC_VXI: return "VXI Instrument Resources";
        case -RSRC_VXI: return "VXI Miscellaneous Resources";
        case RSRC_GPIB_VXI: return "GPIB-VXI Instrument Resources";
        case -RSRC_GPIB_VXI: return "GPIB-VXI Miscellaneous Resources";
        case RSRC_ASRL: return "Serial Instrument Resources";
        case RSRC_PXI: return "PXI Instrument Resources";
        case -RSRC_PXI: return "PXI Miscellaneous Resources";
        case RSRC_TCPIP: return "TCP/IP Instrument Resources";
        case -RSRC_TCPIP: return "TCP/IP Miscellaneous Resources";
        default: return kUnknownCategory;  // a serial resource other than INSTR among them
    }
}

bool hasCategory(short intfType) { return rsrcCategory(intfType) != kUnknownCategory; }

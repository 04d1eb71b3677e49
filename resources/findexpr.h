// The find expression of the " VISA I/O" sheet: its text box, the ring of fixed and recent
// expressions, and the dialog that builds an expression from a machine, interfaces and
// attribute conditions.
#pragma once

#include <string>
#include <vector>

// The ring index the ring returns to when the builder is cancelled.
extern int prevSelectIndex;
extern short bFindExprPopupActive, bFindExprPopupSuccess;

// Records expr as the most recent expression of the ring: at most six are kept, newest first,
// after the fixed entries and a separator.
void MakeFindExprRecent(int panel, int ring, const char* expr);
// Runs the builder as a modal dialog over parentPanel; on OK writes the expression (at most
// outSize - 1 characters) into out and returns 1, else returns 0.
int DoCreateFindExpr(int parentPanel, char* out, size_t outSize);

// What the builder's controls say, and the expression they make.
struct FindExprChoices {
    bool remote = false;
    std::string machine;
    bool restrictInterfaces = false;
    bool gpib = false, gpibVxi = false, vxi = false, pxi = false, asrl = false, tcpip = false;
    bool useAttributes = false;
    bool all = true;                      // All (&&) or Any (||)
    std::vector<std::string> conditions;  // the values of the checked attribute items
};
std::string buildFindExpression(const FindExprChoices& c);

// The menu command: the same as choosing the builder entry of the ring.
void DoCreateFindExprMenu(int menuBar, int menuItem, void* callbackData, int panel);

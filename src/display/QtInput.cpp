#include "display/QtInput.h"

namespace qv {

namespace {

struct KeyPair {
  int qtKey;
  int16_t code;
};

// Named keys, and the punctuation and shifted-digit characters that Qt reports instead of the
// key that was pressed (US layout).
constexpr KeyPair kKeys[] = {
    {Qt::Key_Backspace, 8},   {Qt::Key_Tab, 9},          {Qt::Key_Backtab, 9},
    {Qt::Key_Clear, 12},      {Qt::Key_Return, 13},      {Qt::Key_Enter, 13},
    {Qt::Key_Shift, 16},      {Qt::Key_Control, 17},     {Qt::Key_Alt, 18},
    {Qt::Key_AltGr, 18},      {Qt::Key_Pause, 19},       {Qt::Key_CapsLock, 20},
    {Qt::Key_Escape, 27},     {Qt::Key_Space, 32},       {Qt::Key_PageUp, 33},
    {Qt::Key_PageDown, 34},   {Qt::Key_End, 35},         {Qt::Key_Home, 36},
    {Qt::Key_Left, 37},       {Qt::Key_Up, 38},          {Qt::Key_Right, 39},
    {Qt::Key_Down, 40},       {Qt::Key_Select, 41},      {Qt::Key_Printer, 42},
    {Qt::Key_Execute, 43},    {Qt::Key_Print, 44},       {Qt::Key_Insert, 45},
    {Qt::Key_Delete, 46},     {Qt::Key_Help, 47},        {Qt::Key_Meta, 91},
    {Qt::Key_Super_L, 91},    {Qt::Key_Super_R, 92},     {Qt::Key_Menu, 93},
    {Qt::Key_Sleep, 95},      {Qt::Key_NumLock, 144},    {Qt::Key_ScrollLock, 145},
    {Qt::Key_ParenRight, 48}, {Qt::Key_Exclam, 49},      {Qt::Key_At, 50},
    {Qt::Key_NumberSign, 51}, {Qt::Key_Dollar, 52},      {Qt::Key_Percent, 53},
    {Qt::Key_AsciiCircum, 54}, {Qt::Key_Ampersand, 55},  {Qt::Key_Asterisk, 56},
    {Qt::Key_ParenLeft, 57},  {Qt::Key_Semicolon, 186},  {Qt::Key_Colon, 186},
    {Qt::Key_Equal, 187},     {Qt::Key_Plus, 187},       {Qt::Key_Comma, 188},
    {Qt::Key_Less, 188},      {Qt::Key_Minus, 189},      {Qt::Key_Underscore, 189},
    {Qt::Key_Period, 190},    {Qt::Key_Greater, 190},    {Qt::Key_Slash, 191},
    {Qt::Key_Question, 191},  {Qt::Key_QuoteLeft, 192},  {Qt::Key_AsciiTilde, 192},
    {Qt::Key_BracketLeft, 219}, {Qt::Key_BraceLeft, 219}, {Qt::Key_Backslash, 220},
    {Qt::Key_Bar, 220},       {Qt::Key_BracketRight, 221}, {Qt::Key_BraceRight, 221},
    {Qt::Key_Apostrophe, 222}, {Qt::Key_QuoteDbl, 222},
};

// The keypad's own codes for its digits and operators.
constexpr KeyPair kKeypad[] = {
    {Qt::Key_Asterisk, 106}, {Qt::Key_Plus, 107}, {Qt::Key_Minus, 109},
    {Qt::Key_Period, 110},   {Qt::Key_Comma, 110}, {Qt::Key_Slash, 111},
};

}  // namespace

int16_t ButtonCodeOf(Qt::MouseButton button) {
  switch (button) {
    case Qt::LeftButton: return 1;
    case Qt::RightButton: return 2;
    case Qt::MiddleButton: return 4;
    default: return 0;
  }
}

int16_t ShiftStateOf(Qt::KeyboardModifiers modifiers) {
  return static_cast<int16_t>((modifiers & Qt::ShiftModifier ? 1 : 0) |
                              (modifiers & Qt::ControlModifier ? 2 : 0) |
                              (modifiers & Qt::AltModifier ? 4 : 0));
}

int16_t KeyCodeOf(int qtKey, Qt::KeyboardModifiers modifiers) {
  if (modifiers & Qt::KeypadModifier) {
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) return static_cast<int16_t>(96 + qtKey - Qt::Key_0);
    for (const KeyPair& k : kKeypad) {
      if (k.qtKey == qtKey) return k.code;
    }
  }
  if ((qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) || (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)) {
    return static_cast<int16_t>(qtKey);  // Qt numbers them by their ASCII codes
  }
  if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24) return static_cast<int16_t>(112 + qtKey - Qt::Key_F1);
  for (const KeyPair& k : kKeys) {
    if (k.qtKey == qtKey) return k.code;
  }
  return 0;
}

}  // namespace qv

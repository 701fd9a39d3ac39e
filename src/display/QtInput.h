#pragma once
// The values that the display windows pass to the display callbacks for Qt's input events.
//   button: 1 left, 2 right, 4 middle; any other button 0.
//   shift:  the sum of 1 Shift, 2 Ctrl, 4 Alt (the Meta key is not counted).
//   keyCode: the virtual-key numbering of the program's key handlers: letters and digits are
//     their upper-case ASCII codes (65-90, 48-57), whatever Shift does to them; keypad digits
//     96-105; F1-F24 112-135; Escape 27, Return/Enter 13, Space 32, arrows 37-40 and the other
//     named keys as the table in QtInput.cpp lists them; punctuation by its US-keyboard key (";"
//     and ":" both 186). Keys without a code give 0.

#include <QtCore/qnamespace.h>

#include <cstdint>

namespace qv {

int16_t ButtonCodeOf(Qt::MouseButton button);
int16_t ShiftStateOf(Qt::KeyboardModifiers modifiers);
int16_t KeyCodeOf(int qtKey, Qt::KeyboardModifiers modifiers);

}  // namespace qv

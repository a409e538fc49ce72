// Start-up: the splash, then the main window in its state before Setup.
#pragma once

namespace tvl {

class Program;

void frmSplash_Image1_Click(Program& program);
void frmSplash_Form_KeyPress(Program& program, int KeyAscii);
void FrmMain_Form_Load(Program& program);

// The background picture for a screen width in pixels.
const char* backgroundFor(int screenWidth);

}  // namespace tvl

// The frames of the form: where they lie, which of them shows.
#include "frame/ANAGPARC.h"

namespace ANAGPARC {

namespace {

void COLLOCA(toolkit::Control& controllo, int left, int top, int width, int height) {
  controllo.SetLeft(left);
  controllo.SetTop(top);
  controllo.SetWidth(width);
  controllo.SetHeight(height);
}

void COLLOCAFRAME(toolkit::Frame& frame, bool visibile, int left, int top, int width, int height) {
  frame.SetCaption(u"");
  frame.SetVisible(visibile);
  COLLOCA(frame, left, top, width, height);
}

}  // namespace

void IMPOSTAFRAME() {
  Cmdcancella.SetEnabled(false);
  COLLOCAFRAME(Frmmoduli(0), false, 120, 900, 11745, 5800);
  COLLOCAFRAME(Frmbottoni, false, 120, 6650, 11745, 915);
  COLLOCAFRAME(FrmSelezione, true, 120, 900, 11745, 5865);
  COLLOCAFRAME(Frmtestata, false, 120, 210, 11745, 615);
  COLLOCAFRAME(FrmInserimento, false, 6960, 720, 4635, 3495);
  COLLOCAFRAME(FrameCambiaCf, false, 6960, 720, 4635, 3495);
  COLLOCA(List1, 180, 1110, 6675, 3840);
  Label2(8).SetVisible(false);
}

void RITORNASELEZDIC() {
  LISTAPERCETTORI();
  Frmmoduli(0).SetVisible(false);
  Frmbottoni.SetVisible(false);
  Frmtestata.SetVisible(false);
  FrmInserimento.SetVisible(false);
  FrmSelezione.SetVisible(true);
}

// A click beside the fields closes the lookup panel.
void Frmmoduli_Click(int) { Framecodif.SetVisible(false); }

}  // namespace ANAGPARC

// The frames of the form: where they lie, which of them shows.
#include "frame/ANAGPARC.h"
#include "selection/selection.h"

namespace ANAGPARC {

namespace {

void COLLOCA(toolkit::Control& controllo, const Posto& posto) {
  controllo.SetLeft(posto.left);
  controllo.SetTop(posto.top);
  controllo.SetWidth(posto.width);
  controllo.SetHeight(posto.height);
}

void COLLOCAFRAME(toolkit::Frame& frame, bool visibile, const Posto& posto) {
  frame.SetCaption(u"");
  frame.SetVisible(visibile);
  COLLOCA(frame, posto);
}

}  // namespace

void IMPOSTAFRAME() {
  Cmdcancella.SetEnabled(false);
  COLLOCAFRAME(Frmmoduli(0), false, kPostoDati);
  COLLOCAFRAME(Frmbottoni, false, kPostoBottoni);
  COLLOCAFRAME(FrmSelezione, true, kPostoSelezione);
  COLLOCAFRAME(Frmtestata, false, kPostoTestata);
  COLLOCAFRAME(FrmInserimento, false, kPostoPannello);
  COLLOCAFRAME(FrameCambiaCf, false, kPostoPannello);
  COLLOCA(List1, kPostoElenco);
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

void Frmmoduli_Click(int) { Framecodif.SetVisible(false); }

}  // namespace ANAGPARC

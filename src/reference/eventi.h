// The exceptional events of the year's return, as the instructions word them.
// It is no table of the archive: its dates and laws are those of the year.
#pragma once

#include <array>
#include <string_view>

namespace regole {

// 8 entries in 66 lines, shown as they stand, the blanks at the end of some of
// them too. An entry's first line begins with its code, one digit; its other
// lines begin with four blanks.
inline constexpr std::array<std::u16string_view, 66> kEventiEccezionali = {
    u"1 - per i contribuenti vittime di richieste estorsive per i quali l’articolo 20,",
    u"    comma 2, della legge 23 febbraio 1999, n.44, ha disposto la proroga di tre ",
    u"    anni dei termini di scadenza degli adempimenti fiscali ricadenti entro un anno",
    u"    dalla data dell’evento lesivo",
    u"2 - per i contribuenti che alla data del 17 gennaio 2014 avevano la residenza nei",
    u"    territori dei comuni di Bastiglia, Bomporto, San Prospero, Camposanto, Finale",
    u"    Emilia, Medolla e San Felice sul Panaro situati nella Regione Emilia Romagna,",
    u"    colpiti dagli eventi alluvionali del 17 e 19 gennaio 2014, già colpiti dal sisma",
    u"    del 20 e 29 maggio 2012, l’articolo 3, comma 2 del Decreto-legge 28 gennaio 2014,",
    u"    n.4, convertito, con modificazioni dalla legge 28 marzo 2014, n.50 ha sospeso i ",
    u"    termini dei versamenti e degli adempimenti tributari per il periodo compreso tra",
    u"    il 17 gennaio 2014 ed il 31 ottobre 2014. Per le frazioni della città di Modena:",
    u"    San Matteo, Albereto, La Rocca e Navicello, l’applicazione della sospensione dei",
    u"    termini dei versamenti e degli adempimenti tributari è subordinata alla richiesta",
    u"    del contribuente che dichiari l’inagibilità, anche temporanea, della casa di",
    u"    abitazione o dei terreni agricoli, verificata dall’autorità comunale",
    u"3 - per i contribuenti, residenti alla data del 12 febbraio 2011 nel comune di ",
    u"    Lampedusa e Linosa interessati dall’emergenza umanitaria legata all’afflusso",
    u"    di migranti dal Nord Africa, per i quali l’OPCM n. 3947 del 16 giugno 2011 ha",
    u"    previsto la sospensione dal 16 giugno 2011 al 30 giugno 2012 dei termini ",
    u"    relativi agli adempimenti ed ai versamenti tributari scadenti nel medesimo ",
    u"    periodo; la sospensione è stata già prorogata fino al 1 dicembre 2012 dall’",
    u"    articolo 23, comma 12 octies, del D.L. 6 luglio 2012, n. 95 convertito, con ",
    u"    modificazioni, dalla L. 7 agosto 2012, n.135, è stata nuovamente prorogata fino",
    u"    al 31 dicembre 2013 dall’ art.1, comma 612, della L. 27 dicembre 2013, n.147, è",
    u"    stata nuovamente prorogata fino al 31 dicembre 2014,dall’art. 3, comma 8 del ",
    u"    decreto legge 31 dicembre 2014, n. 192",
    u"4 - per i contribuenti che alla data del 30 gennaio 2014 avevano la propria ",
    u"    residenza nei territori dei comuni della Regione Veneto colpiti dagli ",
    u"    eventi atmosferici verificatisi dal 30 gennaio al 18 febbraio 2014, indicati",
    u"    nell’allegato 1-bis del Decreto-legge 28 gennaio 2014 n.4, convertito, con ",
    u"    modificazioni, dalla legge 28 marzo 2014, n.50, l’articolo 3, comma 2 del ",
    u"    suddetto decreto, ha sospeso i termini dei versamenti e degli adempimenti",
    u"    tributari nei territori dei comuni elencati nel succitato allegato per il ",
    u"    periodo compreso tra il 17 gennaio 2014 ed il 31 ottobre 2014. L’applicazione",
    u"    della sospensione dei termini dei versamenti e degli adempimenti tributari è ",
    u"    subordinata alla richiesta del contribuente che dichiari l’inagibilità, anche",
    u"    temporanea, della casa di abitazione o dei terreni agricoli, verificata dall’",
    u"    autorità comunale",
    u"5 - per i contribuenti che alla data del 10 ottobre 2014, avevano la ",
    u"    residenza nel territorio dei comuni colpiti dagli eventi metereologici ",
    u"    del 10 - 14 ottobre 2014 verificatisi nelle Regioni Liguria, Piemonte,",
    u"    Emilia Romagna, Toscana, Veneto e Friuli Venezia Giulia, il Decreto del ",
    u"    Ministro dell’Economia e delle Finanze del 20 ottobre 2014, ha previsto",
    u"    la sospensione dei termini dei versamenti e degli adempimenti tributari ",
    u"    scadenti nel periodo compreso tra il 10 ottobre 2014 e il 20 dicembre ",
    u"    2014. L’elenco dei comuni interessati è riportato nell’allegato A) del ",
    u"    suddetto Decreto, successivamente integrato dal Decreto del Ministro ",
    u"    dell’Economia e delle Finanze del 1 dicembre 2014",
    u"6 - per i contribuenti che alla data del 19 e 20 settembre 2014, avevano la ",
    u"    propria residenza nei comuni della Regione Toscana colpiti dagli eventi ",
    u"    metereologici del 19 e 20 settembre 2014, indicati nell’allegato A) del ",
    u"    Decreto del Ministro dell’Economia e delle Finanze del 5 dicembre 2014, ",
    u"    l’articolo 1, comma 1 del suddetto decreto, ha sospeso i termini dei ",
    u"    versamenti e degli adempimenti tributari nei territori dei comuni elencati",
    u"    nel succitato allegato per il periodo compreso tra il 19 settembre 2014 ed",
    u"    il 20 dicembre 2014",
    u"7 - per i contribuenti che nei giorni dal 1° al 6 settembre 2014, avevano la ",
    u"    propria residenza nei comuni della provincia di Foggia colpiti dagli eventi ",
    u"    metereologici verificatisi dal 1° al 6 settembre 2014, indicati nell’allegato",
    u"    A) del Decreto del Ministro dell’Economia e delle Finanze del 5 dicembre 2014,",
    u"    l’articolo 1, comma 1 del suddetto decreto, ha sospeso i termini dei ",
    u"    versamenti e degli adempimenti tributari nei territori dei comuni elencati nel",
    u"    succitato allegato per il periodo compreso tra il 1 settembre 2014 ed il 20 ",
    u"    dicembre 2014",
    u"8 - per i contribuenti colpiti da altri eventi eccezionali.",
};

}  // namespace regole

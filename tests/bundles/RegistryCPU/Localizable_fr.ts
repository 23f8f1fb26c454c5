<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message>
        <source>PROCESSOR_DISPLAY_NAME</source>
        <translation>Processeur</translation>
    </message>
    <message>
        <source>cpu</source>
        <translation>pro</translation>
    </message>
</context>
</TS>

<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Battery</source><translation>Batterie</translation></message>
    <message><source>bat</source><translation>bat</translation></message>
    <message><source>Charge</source><translation>Charge</translation></message>
    <message><source>State</source><translation>État</translation></message>
    <message><source>Time</source><translation>Durée</translation></message>
    <message><source>Health</source><translation>Santé</translation></message>
    <message><source>Cycles</source><translation>Cycles</translation></message>
    <message><source>Source</source><translation>Source</translation></message>
    <message><source>UPower</source><translation>UPower</translation></message>
    <message><source>Charging</source><translation>En charge</translation></message>
    <message><source>On battery</source><translation>Sur batterie</translation></message>
    <message><source>Empty</source><translation>Vide</translation></message>
    <message><source>Charged</source><translation>Chargée</translation></message>
    <message><source>Plugged in, not charging</source><translation>Branchée, sans charger</translation></message>
    <message><source>Waiting to discharge</source><translation>En attente de décharge</translation></message>
    <message><source>unknown</source><translation>inconnu</translation></message>
    <message><source>%1 remaining</source><translation>%1 restantes</translation></message>
    <message><source>%1 until full</source><translation>%1 avant la charge complète</translation></message>
    <message><source>estimating</source><translation>estimation en cours</translation></message>
    <message><source>kernel</source><translation>noyau</translation></message>
    <message><source>No battery found</source><translation>Aucune batterie trouvée</translation></message>
    <message><source>answering</source><translation>répond</translation></message>
    <message><source>no system bus</source><translation>pas de bus système</translation></message>
    <message><source>not running</source><translation>non lancé</translation></message>
    <message><source>not responding</source><translation>ne répond pas</translation></message>
    <message><source>unusable answer</source><translation>réponse inutilisable</translation></message>
</context>
</TS>
